#include <filesystem>

#include "tests/peers/workflow_launcher/WorkflowFixture.h"
#include "tests/support/Eventually.h"
#include "tests/support/WatchedProcess.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::job_monitoring;
using tarn::proto::service_job::JobToServiceReply;

struct JobRunTest : WorkflowFixture {};

TEST_F(JobRunTest, AJobPlaysToTheEndOfItsStream) {
    const auto job = makeJob("videotestsrc num-buffers=10 is-live=true ! fakesink sync=true");
    job->play();
    EXPECT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::END_OF_STREAM);
    EXPECT_EQ(end->exit_status(), 0) << job->log();
    EXPECT_FALSE(end->has_signal());
    EXPECT_TRUE(job->events.has(JobEvent::PROGRESS));
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
}

TEST_F(JobRunTest, EveryEventCarriesTheIdAndTheEndIsTheLast) {
    const auto job = makeJob(short_);
    job->play();
    EXPECT_TRUE(job->events.waitForEnd());
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
    for (const auto& event : job->events.all()) {
        EXPECT_EQ(event.job_id(), job->id());
    }
    const auto any = [](const JobEvent&) { return true; };
    EXPECT_FALSE(job->events.waitFor(any, std::chrono::milliseconds(50)));
}

TEST_F(JobRunTest, AnAcknowledgedJobIsListedAndAnswersAndItsPrivateEndpointIsGone) {
    const auto job = makeJob(endless);
    job->play();
    EXPECT_EQ(service.job(job->id()).getCommandEndpoint(), job->endpoint("command"));
    EXPECT_EQ(service.job(job->id()).getEventEndpoint(), job->endpoint("event"));
    EXPECT_EQ(service.job(job->id()).getProcess().id, job->launcher->id());
    EXPECT_EQ(job->client().status().job_description().job_id(), job->id());
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(job->setupPath()); }));
}

TEST_F(JobRunTest, AnEndedJobLeavesTheRegistryAndNoFiles) {
    const auto job = makeJob(short_);
    job->play();
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
    EXPECT_FALSE(service.lists(job->id()));
    for (const auto* kind : {"job-setup", "job-command", "job-event"}) {
        EXPECT_FALSE(std::filesystem::exists(pathOf(kind))) << kind;
    }
}

TEST_F(JobRunTest, AStreamOfKnownLengthHasAFraction) {
    const auto job = makeJob(
        "videotestsrc num-buffers=30 ! video/x-raw,framerate=30/1 ! "
        "fakesink sync=true");
    job->play();
    const auto last = job->events.waitFor([](const JobEvent& event) {
        return event.GetExtension(JobEventProgress::base).fraction() > 0.9;
    });
    ASSERT_TRUE(last);
    EXPECT_EQ(last->GetExtension(JobEventProgress::base).duration_ns(), 1'000'000'000);
}

TEST_F(JobRunTest, ASubscriberWhoComesLateIsToldTheStateAgain) {
    const auto job = makeJob(endless);
    job->play();
    ASSERT_TRUE(job->events.waitForState(JOB_STATE_PLAYING));
    JobEvents late(job->endpoint("event"));
    EXPECT_TRUE(late.waitForState(JOB_STATE_PLAYING));
    EXPECT_TRUE(late.waitFor([](const JobEvent& e) { return e.type() == JobEvent::PROGRESS; }));
}

TEST_F(JobRunTest, AFailureGivesTheMediaLibrarysMessageAndDetail) {
    const auto job = makeJob("filesrc location=" + pathOf("none") + " ! fakesink");
    job->play();
    const auto failure = job->events.waitForFailure();
    ASSERT_TRUE(failure);
    EXPECT_NE(failure->message().find("Resource not found"), std::string::npos)
        << failure->message();
    EXPECT_NE(failure->detail().find("No such file"), std::string::npos) << failure->detail();
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::FAILED);
    EXPECT_EQ(end->message(), failure->message());
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
}

TEST_F(JobRunTest, TheLogHoldsWhatTheJobIsAndWhatThePipelineWrites) {
    const auto job =
        makeJob("videotestsrc num-buffers=1 ! video/x-raw,width=16,height=16 ! fakesink dump=true");
    job->play();
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
    const auto log = job->log();
    for (const auto& part :
         {std::string("Job job\n"), "Job id " + job->id(),
          std::string("Pipeline videotestsrc num-buffers=1"), std::string("Pipeline > 00000000"),
          std::string("Ended: end of stream")}) {
        EXPECT_NE(log.find(part), std::string::npos) << part;
    }
}

TEST_F(JobRunTest, ADetachedJobIsASessionOfItsOwnAndItsStarterReturns) {
    const auto job = makeJob(endless);
    job->launch({"-d"});
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(0));
    ASSERT_TRUE(job->setUp().success());
    const WatchedProcess launcher(service.job(job->id()).getProcess().id);
    EXPECT_EQ(::getsid(launcher.id()), launcher.id());
    EXPECT_EQ(std::filesystem::read_symlink("/proc/" + std::to_string(launcher.id()) + "/fd/2"),
              "/dev/null");
    EXPECT_TRUE(job->client().destroy().success());
    EXPECT_TRUE(launcher.waitForEnd()) << job->log();
}

}  // namespace
}  // namespace tarn::test
