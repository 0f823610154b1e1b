#include <signal.h>

#include <filesystem>

#include "platform/socket/Socket.h"
#include "tests/peers/workflow_launcher/WorkflowFixture.h"
#include "tests/support/Eventually.h"
#include "tests/support/MachineTime.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::job_monitoring;
using namespace tarn::proto::service_job;

struct JobSetupTest : WorkflowFixture {
    std::string refusalOf(TestJob& job) {
        job.launch();
        const auto reply = job.setUp();
        EXPECT_EQ(reply.type(), JobToServiceReply::SETUP);
        const auto reason = reply.success() ? endOf(job) : reply.error_message();
        EXPECT_FALSE(service.lists(job.id()));
        EXPECT_EQ(job.launcher->waitForEnd(), Ending::exited(1));
        EXPECT_FALSE(std::filesystem::exists(job.setupPath()));
        return reason;
    }

    // A busy machine may need longer to look at a pipeline than the answer may take.
    static std::string endOf(TestJob& job) {
        const auto end = job.events.waitForEnd();
        return end ? end->message() : std::string();
    }

    std::string refusalOf(const std::string& pipeline) { return refusalOf(*makeJob(pipeline)); }
};

TEST_F(JobSetupTest, APipelineThatDoesNotParseIsRefusedWithTheMediaLibrarysMessage) {
    EXPECT_EQ(refusalOf("videotestsrc ! nosuchsink"), "no element \"nosuchsink\"");
}

TEST_F(JobSetupTest, AllMissingElementsAreNamed) {
    EXPECT_EQ(refusalOf("nosuchsrc ! nosuchsink"),
              "no element \"nosuchsrc\" (missing elements: nosuchsrc, nosuchsink)");
}

TEST_F(JobSetupTest, WhatTheMediaLibraryWouldLeaveOutIsRefused) {
    EXPECT_EQ(refusalOf("videotestsrc ! fakesink nosuch=1"),
              "no property \"nosuch\" in element \"fakesink\"");
}

TEST_F(JobSetupTest, LinksThatCannotBeMadeAreRefused) {
    EXPECT_NE(refusalOf("videotestsrc ! audioconvert ! fakesink").find("could not link"),
              std::string::npos);
}

TEST_F(JobSetupTest, AnEmptyPipelineIsRefused) {
    EXPECT_EQ(refusalOf(""), "empty pipeline not allowed");
}

TEST_F(JobSetupTest, AFileThatCannotBeWrittenIsToldAtTheSetup) {
    const auto refusal = refusalOf("videotestsrc ! filesink location=" + pathOf("none/file"));
    EXPECT_NE(refusal.find("Could not open file"), std::string::npos) << refusal;
}

TEST_F(JobSetupTest, WrongRequestsAreRefusedAndTheNextGoodOneIsTaken) {
    const auto job = makeJob(endless);
    job->launch();
    ServiceToJobRequest wrong = job->request;
    wrong.clear_type();
    const auto reply = tarn::test::setUp(job->endpoint("setup"), wrong);
    EXPECT_FALSE(reply.success());
    EXPECT_EQ(reply.error_message(), "Not a job setup request");
    wrong = job->request;
    wrong.ClearExtension(ServiceToJobRequestSetup::base);
    EXPECT_FALSE(tarn::test::setUp(job->endpoint("setup"), wrong).success());
    EXPECT_TRUE(job->setUp().success());
}

TEST_F(JobSetupTest, BytesThatAreNoRequestAreLoggedAndTheNextGoodOneIsTaken) {
    const auto job = makeJob(endless);
    job->launch();
    tarn::socket::Socket socket("Stranger", tarn::socket::ClosePolicy::Flush);
    socket.createAndConnect(tarn::socket::Protocol::Request,
                            tarn::socket::SocketEndpoint::FromString(job->endpoint("setup")), 5000);
    // As the field of the request's type, a text: it does not parse there.
    JobToServiceReply noise;
    noise.set_error_message("\x08");
    noise.GetReflection()->MutableUnknownFields(&noise)->AddGroup(1)->AddVarint(1, 1);
    socket.sendProtoBuf(&noise);
    EXPECT_TRUE(job->setUp().success());
}

TEST_F(JobSetupTest, ALauncherThatIsNeverSetUpEnds) {
    const auto job = makeJob(endless);
    job->launch({"--setup-timeout", "0.2"});
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(1));
    EXPECT_NE(job->log().find("No setup arrived"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(job->setupPath()));
}

TEST_F(JobSetupTest, ALauncherThatWaitsForItsSetupEndsOnASignal) {
    const auto job = makeJob(endless);
    job->launch();
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(job->setupPath()); }));
    job->launcher->signal(SIGTERM);
    EXPECT_NE(job->launcher->waitForEnd(std::chrono::seconds(5)), Ending{});
}

// The first may be about to end: that is waited for, longer than the answer may take.
TEST_F(JobSetupTest, ASecondJobWithTheIdOfARunningOneIsRefusedAndTouchesNothing) {
    const auto file = service.folder().write("recording", "of the first");
    const auto first = makeJob(endless, "first");
    first->play();
    const auto second = makeJob("videotestsrc ! filesink location=" + file, "second");
    second->id() = first->id();
    second->launch();
    EXPECT_EQ(second->setUp().type(), JobToServiceReply::SETUP);
    const auto end = second->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->message(), "Job is not registered: Already running: job " + first->id());
    EXPECT_EQ(second->launcher->waitForEnd(), Ending::exited(1));
    EXPECT_EQ(readFile(file), "of the first");
    EXPECT_EQ(service.job(first->id()).getProcess().id, first->launcher->id());
}

TEST_F(JobSetupTest, AnEndpointThatIsTakenIsARefusalAndTheJobIsNotListed) {
    tarn::socket::Socket taken("Taken", tarn::socket::ClosePolicy::Discard);
    const auto job = makeJob(endless);
    taken.createAndConnect(tarn::socket::Protocol::Reply,
                           tarn::socket::SocketEndpoint::FromString(job->endpoint("command")), 0);
    const auto refusal = refusalOf(*job);
    EXPECT_NE(refusal.find("Job command endpoint"), std::string::npos);
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->message(), refusal);
}

TEST_F(JobSetupTest, ARefusalIsTheLastEventOfTheJob) {
    const auto job = makeJob("videotestsrc ! nosuchsink");
    job->launch();
    const bool isRefusedByTheAnswer = !job->setUp().success();
    const MachineTime time;
    const auto end = job->events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_TRUE(time.elapsed() < std::chrono::milliseconds(100) || !isRefusedByTheAnswer);
    EXPECT_EQ(end->reason(), JobEventEnd::FAILED);
    EXPECT_EQ(end->message(), "no element \"nosuchsink\"");
    EXPECT_EQ(job->launcher->waitForEnd(), Ending::exited(1));
}

TEST_F(JobSetupTest, WhoSubscribesToARefusedJobAMomentLaterIsToldToo) {
    const auto job = makeJob("videotestsrc ! nosuchsink");
    job->launch();
    job->setUp();
    JobEvents second(job->endpoint("event"));
    EXPECT_TRUE(second.waitForEnd());
    EXPECT_TRUE(job->events.waitForEnd());
}

}  // namespace
}  // namespace tarn::test
