// With ScriptedPipeline in the place of the pipeline process.
#include "peers/job_runtime/supervision/JobSupervisor.h"

#include <gmock/gmock.h>
#include <signal.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

#include "peers/job_runtime/JobSetup.h"
#include "peers/job_runtime/events/EventPublisher.h"
#include "peers/job_runtime/events/JobStatus.h"
#include "peers/job_runtime/persistence/Persistence.h"
#include "peers/job_runtime/registration/Admission.h"
#include "peers/job_runtime/supervision/SetupAnswer.h"
#include "peers/job_runtime/supervision/StopRequest.h"
#include "proto/service_job.pb.h"
#include "tests/peers/support/JobEvents.h"
#include "tests/support/LogCapture.h"
#include "tests/support/MachineTime.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using namespace tarn::proto::job_monitoring;
using testing::ElementsAre;
using testing::IsEmpty;
using Clock = std::chrono::steady_clock;
using Standing = Registration::Standing;
using Wish = StopRequest::Wish;
namespace fs = std::filesystem;

struct ScriptedRegistration : Registration {
    void enter() override { standing = outcome; }
    Standing take() override { return standing; }
    std::string reason() override { return "already running"; }
    int descriptor() const override { return -1; }

    Standing standing = Standing::Outside;
    Standing outcome = Standing::Listed;
};

struct JobSupervisorTest : testing::Test {
    enum class Kept { No, Yes };

    /// The whole job; the supervisor is there afterwards.
    void run(const std::string& script, Kept kept = Kept::No) {
        prepare(script, kept);
        supervisor->run();
        supervisor->tellEnd();
    }

    void prepare(const std::string& script, Kept kept) {
        setup.pipeline = script;
        setup.environment = {{"A", "1"}};
        JobDescription description;
        description.set_job_id("the-id");
        setup.job = {tarn::resource_manager::JobDescription(description), "", "", {}, {}};
        if (kept == Kept::Yes) {
            setup.persistentFile = file;
            setup.persistentContent = "content";
        }
        persistence.emplace(setup);
        supervisor.emplace(
            JobSupervisor::Dependencies{setup, status, publisher, stop, *persistence, admission,
                                        answer, [this] { return Clock::now() + ahead.load(); }},
            nullptr);
    }

    /// Wishes it as soon as the job says that it is in this state.
    void wishWhen(JobState state, Wish wish) {
        wisher = std::jthread([this, state, wish] {
            test::JobEvents events(endpoint);
            EXPECT_TRUE(events.waitForState(state));
            stop.request(wish);
        });
        EXPECT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s));
    }

    /// Lets so much time pass, which the supervisor notices with the next thing that it waits for.
    void pass(Clock::duration time) {
        ahead = ahead.load() + time;
        stop.request(Wish::None);
    }

    void killPipeline() {
        const auto pid = static_cast<pid_t>(status.snapshot().pipeline_pid());
        ASSERT_GT(pid, 0);
        ::kill(pid, SIGKILL);
    }

    /// The job's file is there, as where a service starts it again.
    void storeFile() const {
        using namespace tarn::proto::service_job;
        ServiceToJobRequest request;
        request.MutableExtension(ServiceToJobRequestSetup::base)
            ->mutable_job_description()
            ->set_job_id("the-id");
        folder.write("file", request.SerializeAsString());
    }

    JobEventEnd end() {
        const auto told = events.waitForEnd();
        EXPECT_TRUE(told);
        return told.value_or(JobEventEnd());
    }

    std::vector<std::string> told() const {
        std::vector<std::string> commands;
        const std::string start = "INFO Pipeline > told to ";
        for (const auto& line : log.lines()) {
            if (line.starts_with(start)) {
                commands.push_back(line.substr(start.size()));
            }
        }
        return commands;
    }

    const test::TemporaryFolder folder;
    const test::LogCapture log;
    const std::string file = (folder.path() / "file").string();
    const std::string endpoint = "ipc://" + (folder.path() / "events").string();
    EventPublisher publisher{tarn::socket::SocketEndpoint::FromString(endpoint), "the-id"};
    test::JobEvents events{endpoint};
    JobSetup setup;
    JobStatus status;
    StopRequest stop;
    std::optional<Persistence> persistence;
    ScriptedRegistration registration;
    Admission admission{&registration, Clock::now()};
    std::vector<SetupVerdict> verdicts;
    SetupAnswer answer{[this](const SetupVerdict& verdict) { verdicts.push_back(verdict); },
                       Clock::now() + 1h};
    std::atomic<Clock::duration> ahead = Clock::duration::zero();  // of the supervisor's clock
    std::optional<JobSupervisor> supervisor;
    std::jthread wisher;

    static constexpr auto plays = "parse=parsed prepare=prepared play=playing finish=eos,exit0";
    static constexpr auto ends = "parse=parsed prepare=prepared play=playing,progress,eos,exit0";
    static constexpr auto fails = "parse=parsed prepare=prepared play=playing,failure,exit1";
};

TEST_F(JobSupervisorTest, AJobPlaysToTheEndOfItsStream) {
    const test::MachineTime time;
    run(ends);
    EXPECT_LT(time.elapsed(), 1s);  // what the process says is heard at once
    EXPECT_EQ(end().reason(), JobEventEnd::END_OF_STREAM);
    EXPECT_THAT(told(), ElementsAre("parse with A=1", "prepare", "play"));
    EXPECT_TRUE(supervisor->wasSetUp());
    ASSERT_EQ(verdicts.size(), 1U);
    EXPECT_FALSE(verdicts[0].refusal);
    EXPECT_TRUE(log.has("INFO State JOB_STATE_STARTING"));
    EXPECT_TRUE(log.has("INFO State JOB_STATE_PLAYING"));
    EXPECT_TRUE(log.has("INFO State JOB_STATE_ENDED"));
    EXPECT_FALSE(log.contains("WARN"));
    EXPECT_FALSE(log.contains("ERROR"));
    EXPECT_TRUE(events.has(JobEvent::PROGRESS));
    EXPECT_EQ(status.snapshot().position_ns(), 7);
    EXPECT_FALSE(status.snapshot().has_pipeline_pid());
    EXPECT_FALSE(status.snapshot().has_last_failure());
}

TEST_F(JobSupervisorTest, APipelineThatCannotBeUsedIsRefusedWithItsReason) {
    run("parse=failure,exit1");
    EXPECT_FALSE(supervisor->wasSetUp());
    ASSERT_EQ(verdicts.size(), 1U);
    EXPECT_EQ(verdicts[0].refusal, "what");
    EXPECT_EQ(end().reason(), JobEventEnd::FAILED);
    EXPECT_TRUE(log.has("ERROR Job setup failed: what"));
    EXPECT_THAT(told(), ElementsAre("parse with A=1"));
}

TEST_F(JobSupervisorTest, APipelineThatCrashesBeforeItIsReadyIsRefusedWithItsSignal) {
    run("parse=crash");
    ASSERT_EQ(verdicts.size(), 1U);
    EXPECT_EQ(verdicts[0].refusal, "the pipeline process was killed by signal 9 (Killed)");
}

TEST_F(JobSupervisorTest, APersistentJobWhosePipelineCannotBeUsedIsNotTriedAgain) {
    run("parse=failure,exit1", Kept::Yes);
    EXPECT_FALSE(supervisor->wasSetUp());
    EXPECT_EQ(end().reason(), JobEventEnd::FAILED);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(JobSupervisorTest, OneThatComesFromItsFileAndCannotBePreparedYetIsTriedAgain) {
    storeFile();
    prepare("parse=parsed prepare=failure,exit1", Kept::Yes);
    wishWhen(JOB_STATE_WAITING_TO_RESTART, Wish::EndNow);
    supervisor->run();
    supervisor->tellEnd();
    EXPECT_EQ(end().message(), "destroyed while waiting to be played again");
    EXPECT_TRUE(supervisor->wasSetUp());
    ASSERT_EQ(verdicts.size(), 1U);
    EXPECT_FALSE(verdicts[0].refusal);
}

TEST_F(JobSupervisorTest, OneThatComesFromItsFileAndCannotBeUsedIsNot) {
    storeFile();
    run("parse=failure,exit1", Kept::Yes);
    EXPECT_EQ(end().reason(), JobEventEnd::FAILED);
    EXPECT_FALSE(log.contains("Played again"));
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(JobSupervisorTest, TheStateIsToldAgainToThoseWhoCameLate) {
    wisher = std::jthread([this] {
        test::JobEvents seen(endpoint);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));
        stop.request(Wish::EndNow);
    });
    run(plays);
    EXPECT_EQ(end().reason(), JobEventEnd::DESTROYED);
}

TEST_F(JobSupervisorTest, AFailureEndsAJobThatIsNotPersistent) {
    run(fails);
    const auto last = end();
    EXPECT_EQ(last.reason(), JobEventEnd::FAILED);
    EXPECT_EQ(last.message(), "what");
    EXPECT_EQ(last.exit_status(), 1);
    EXPECT_TRUE(events.has(JobEvent::FAILURE));
    EXPECT_TRUE(supervisor->wasSetUp());
    EXPECT_TRUE(log.has("ERROR Failure: what where"));
    EXPECT_EQ(status.snapshot().restarts(), 0U);
}

TEST_F(JobSupervisorTest, TheFirstFailureOfARunIsItsReason) {
    run("parse=parsed prepare=prepared play=playing,failure,eos,failure,exit1");
    EXPECT_EQ(end().reason(), JobEventEnd::FAILED);
}

TEST_F(JobSupervisorTest, ACrashIsAFailureWithItsSignal) {
    run("parse=parsed prepare=prepared play=playing,crash");
    const auto last = end();
    EXPECT_EQ(last.reason(), JobEventEnd::CRASHED);
    EXPECT_EQ(last.signal(), 9);
    EXPECT_EQ(status.snapshot().last_failure(),
              "the pipeline process was killed by signal 9 (Killed)");
}

TEST_F(JobSupervisorTest, AnEndThatIsWishedLetsThePipelineFinish) {
    wishWhen(JOB_STATE_PLAYING, Wish::EndNow);
    run(plays);
    const auto last = end();
    EXPECT_EQ(last.reason(), JobEventEnd::DESTROYED);
    EXPECT_EQ(last.message(), "destroyed; pipeline process exited with status 0");
    EXPECT_THAT(told(), ElementsAre("parse with A=1", "prepare", "play", "finish"));
    EXPECT_TRUE(log.has("INFO State JOB_STATE_STOPPING"));
}

TEST_F(JobSupervisorTest, AProcessThatDoesNotEndIsTerminatedAndThenKilled) {
    wisher = std::jthread([this] {
        test::JobEvents seen(endpoint);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));
        stop.request(Wish::EndNow);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_STOPPING));
        pass(5s);
        EXPECT_TRUE(log.waitFor("does not end: SIGTERM"));
        EXPECT_FALSE(log.contains("does not end: SIGKILL"));
        pass(1s);
    });
    run("parse=parsed prepare=prepared play=stubborn,playing");
    EXPECT_TRUE(log.has("WARN The pipeline process does not end: SIGTERM"));
    EXPECT_TRUE(log.has("WARN The pipeline process does not end: SIGKILL"));
    EXPECT_EQ(end().signal(), 9);
}

TEST_F(JobSupervisorTest, AFailedProcessThatDoesNotEndIsTerminated) {
    wisher = std::jthread([this] {
        test::JobEvents seen(endpoint);
        EXPECT_TRUE(seen.waitForFailure());
        pass(5s);
    });
    EXPECT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s));
    run("parse=parsed prepare=prepared play=playing,failure");
    const auto last = end();
    EXPECT_EQ(last.reason(), JobEventEnd::FAILED);
    EXPECT_EQ(last.signal(), 15);
}

TEST_F(JobSupervisorTest, AProcessThatSaysNoMoreAndStaysIsTerminated) {
    wisher = std::jthread([this] {
        test::JobEvents seen(endpoint);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));  // told again: it is silent by now
        pass(5s);
    });
    EXPECT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s));
    run("parse=parsed prepare=prepared play=playing,silence");
    EXPECT_EQ(end().signal(), 15);
}

TEST_F(JobSupervisorTest, APipelineThatIsNotReadyInTimeHasFailed) {
    wisher = std::jthread([this] {
        test::JobEvents seen(endpoint);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_STARTING));
        pass(5s);
    });
    EXPECT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s));
    run("parse=parsed");
    EXPECT_EQ(end().message(), "the pipeline was not ready in time");
    EXPECT_EQ(verdicts.at(0).refusal, "the pipeline was not ready in time");
    EXPECT_TRUE(log.has("ERROR Failure: the pipeline was not ready in time "));
}

TEST_F(JobSupervisorTest, AGoodRunMakesTheNextDelayShortAgain) {
    prepare(plays, Kept::Yes);
    wisher = std::jthread([this] {
        test::JobEvents seen(endpoint);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));
        killPipeline();
        EXPECT_TRUE(seen.waitForState(JOB_STATE_WAITING_TO_RESTART));
        pass(500ms);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));
        pass(30s);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));  // told again: it has noticed the time
        killPipeline();
        EXPECT_TRUE(seen.waitForState(JOB_STATE_WAITING_TO_RESTART));
        stop.request(Wish::EndNow);
    });
    EXPECT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s));
    supervisor->run();
    supervisor->tellEnd();
    EXPECT_TRUE(log.has("INFO Played again in 500 ms"));
    EXPECT_FALSE(log.contains("Played again in 1000 ms"));
    EXPECT_EQ(status.snapshot().restarts(), 1U);
}

TEST_F(JobSupervisorTest, AnEndThatIsWishedBeforeItIsReadyIsAtOnce) {
    wishWhen(JOB_STATE_STARTING, Wish::EndNow);
    run("parse=parsed");
    const auto last = end();
    EXPECT_EQ(last.reason(), JobEventEnd::DESTROYED);
    EXPECT_EQ(last.message(), "destroyed before it was ready to play");
    EXPECT_EQ(verdicts.at(0).refusal, "destroyed before it was ready to play");
}

TEST_F(JobSupervisorTest, APersistentJobIsPlayedAgainUntilAnEndIsWished) {
    prepare(fails, Kept::Yes);
    wishWhen(JOB_STATE_WAITING_TO_RESTART, Wish::EndNow);
    supervisor->run();
    supervisor->tellEnd();
    EXPECT_TRUE(log.has("INFO Played again in 500 ms"));
    EXPECT_EQ(end().message(), "destroyed while waiting to be played again");
    EXPECT_TRUE(fs::exists(file));
    EXPECT_TRUE(status.snapshot().persistent());
    EXPECT_TRUE(supervisor->wasSetUp());
}

TEST_F(JobSupervisorTest, EachRunOfAPersistentJobBeginsAnew) {
    prepare(fails, Kept::Yes);
    wisher = std::jthread([this] {
        test::JobEvents seen(endpoint);
        EXPECT_TRUE(seen.waitForState(JOB_STATE_WAITING_TO_RESTART));
        EXPECT_TRUE(seen.waitForState(JOB_STATE_PLAYING));
        EXPECT_TRUE(seen.waitForState(JOB_STATE_WAITING_TO_RESTART));
        stop.request(Wish::EndForGood);
    });
    EXPECT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s));
    supervisor->run();
    supervisor->tellEnd();
    EXPECT_EQ(status.snapshot().restarts(), 1U);
    EXPECT_THAT(told(), ElementsAre("parse with A=1", "prepare", "play", "parse with A=1",
                                    "prepare", "play"));
    EXPECT_TRUE(log.has("INFO Played again in 1000 ms"));
    EXPECT_EQ(verdicts.size(), 1U);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(JobSupervisorTest, AStreamThatEndsTakesTheFileOfItsJobAlong) {
    run(ends, Kept::Yes);
    EXPECT_EQ(end().reason(), JobEventEnd::END_OF_STREAM);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(JobSupervisorTest, AFailureAfterTheWishToEndIsNoReasonToPlayAgain) {
    prepare("parse=parsed prepare=prepared play=playing finish=crash", Kept::Yes);
    wishWhen(JOB_STATE_PLAYING, Wish::EndNow);
    supervisor->run();
    supervisor->tellEnd();
    EXPECT_EQ(end().reason(), JobEventEnd::DESTROYED);
    EXPECT_FALSE(log.contains("Played again"));
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(JobSupervisorTest, AJobThatCannotBeKeptPlaysAndSaysSo) {
    folder.write(".incomplete", "");  // in the place where the file is made ready
    run(ends, Kept::Yes);
    ASSERT_EQ(verdicts.size(), 1U);
    EXPECT_THAT(verdicts[0].warning, testing::StartsWith("not persistent: "));
    EXPECT_THAT(status.snapshot().last_failure(), testing::StartsWith("not persistent: "));
    EXPECT_FALSE(status.snapshot().persistent());
    EXPECT_EQ(end().reason(), JobEventEnd::END_OF_STREAM);
}

TEST_F(JobSupervisorTest, OneWhoseFileHasNoFolderSaysSoFromTheBeginning) {
    setup.persistentFile = (folder.path() / "none" / "file").string();
    run("parse=parsed prepare=failure,exit1");
    const auto first = events.waitForFailure();
    ASSERT_TRUE(first);
    EXPECT_THAT(first->message(), testing::StartsWith("not persistent: "));
}

TEST_F(JobSupervisorTest, NothingIsOpenedByAJobThatIsNotAdmitted) {
    registration.outcome = Standing::Refused;
    run(ends);
    EXPECT_EQ(end().message(), "Job is not registered: already running");
    EXPECT_EQ(verdicts.at(0).refusal, "Job is not registered: already running");
    EXPECT_THAT(told(), testing::AnyOf(IsEmpty(), ElementsAre("parse with A=1")));
}

TEST_F(JobSupervisorTest, AJobIsOverBeforeItBeganWhereItIsRefused) {
    prepare(ends, Kept::No);
    supervisor->refuse("no endpoint");
    supervisor->tellEnd();
    EXPECT_EQ(end().message(), "no endpoint");
    EXPECT_EQ(verdicts.at(0).refusal, "no endpoint");
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(JobSupervisorTest, WarningsAreInTheLog) {
    run("parse=parsed prepare=prepared play=playing,warning,unknown,eos,exit0");
    EXPECT_TRUE(log.has("WARN Pipeline warning: what where"));
    EXPECT_EQ(end().reason(), JobEventEnd::END_OF_STREAM);
    EXPECT_FALSE(events.has(JobEvent::FAILURE));
}

TEST_F(JobSupervisorTest, AProcessThatIsNotUnderstoodIsKilled) {
    run("parse=parsed prepare=prepared play=playing,garbage");
    EXPECT_EQ(end().signal(), 9);
    EXPECT_TRUE(log.contains("ERROR The pipeline process is not understood: "));
    EXPECT_TRUE(log.has("INFO Pipeline > without an end"));
}

}  // namespace
}  // namespace tarn::peers
