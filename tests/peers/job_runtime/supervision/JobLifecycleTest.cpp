#include "peers/job_runtime/supervision/JobLifecycle.h"

#include <gtest/gtest.h>

#include <vector>

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using tarn::proto::job_monitoring::JobEventEnd;
using Due = JobLifecycle::Due;
using Ending = RunFacts::Ending;
using Event = JobLifecycle::Event;
using Stage = JobLifecycle::State;

constexpr std::initializer_list<Stage> allStates = {
    Stage::Checking, Stage::Checked, Stage::Preparing, Stage::Ready, Stage::Waiting, Stage::Over};

struct JobLifecycleTest : testing::Test {
    void expectMoves(Event event, const std::vector<std::pair<Stage, Stage>>& moves) {
        for (const auto state : allStates) {
            auto expected = state;
            for (const auto& [from, to] : moves) {
                expected = from == state ? to : expected;
            }
            EXPECT_EQ(JobLifecycle::After(state, event), expected) << static_cast<int>(state);
        }
    }

    void getReady() {
        job.beginRun(start);
        EXPECT_TRUE(job.take(Event::Parsed));
        EXPECT_TRUE(job.take(Event::Admitted));
        EXPECT_TRUE(job.take(Event::Prepared));
    }

    /// A run that fails at that moment; the delay to the next.
    std::optional<std::chrono::milliseconds> failAt(JobLifecycle::Clock::time_point now) {
        job.fail("what", now);
        return job.endRun(job.judged({.exitStatus = 1, .signal = {}}), /*mayPlayAgain=*/true, now);
    }

    const JobLifecycle::Clock::time_point start{1000s};
    JobLifecycle job;
};

TEST_F(JobLifecycleTest, EachEventMovesTheStatesThatItIsMeantFor) {
    expectMoves(Event::Parsed, {{Stage::Checking, Stage::Checked}});
    expectMoves(Event::Admitted, {{Stage::Checked, Stage::Preparing}});
    expectMoves(Event::Prepared, {{Stage::Preparing, Stage::Ready}});
    expectMoves(Event::RunBegun, {{Stage::Waiting, Stage::Checking}});
    expectMoves(Event::RunLost, {{Stage::Checking, Stage::Waiting},
                                 {Stage::Checked, Stage::Waiting},
                                 {Stage::Preparing, Stage::Waiting},
                                 {Stage::Ready, Stage::Waiting}});
    for (const auto state : allStates) {
        EXPECT_EQ(JobLifecycle::After(state, Event::Ended), Stage::Over);
    }
}

TEST_F(JobLifecycleTest, ARunIsThereUntilTheJobWaitsOrIsOver) {
    getReady();
    EXPECT_EQ(job.state(), Stage::Ready);
    EXPECT_TRUE(job.isRunning());
    failAt(start + 1s);
    EXPECT_EQ(job.state(), Stage::Waiting);
    EXPECT_FALSE(job.isRunning());
    job.take(Event::Ended);
    EXPECT_TRUE(job.isOver());
    EXPECT_FALSE(job.isRunning());
    EXPECT_FALSE(job.deadline());
    EXPECT_EQ(job.takeDue(start + 1h), Due::Nothing);
}

TEST_F(JobLifecycleTest, WhatComesOutOfTurnMovesNothing) {
    getReady();
    EXPECT_FALSE(job.take(Event::Prepared));
    EXPECT_FALSE(job.take(Event::Parsed));
    EXPECT_EQ(job.state(), Stage::Ready);
}

TEST_F(JobLifecycleTest, ARunThatIsNotReadyInFourAndAHalfSecondsHasFailed) {
    job.beginRun(start);
    EXPECT_EQ(job.deadline(), start + 4500ms);
    EXPECT_EQ(job.takeDue(start + 4499ms), Due::Nothing);
    EXPECT_EQ(job.takeDue(start + 4500ms), Due::NotReady);
    job.take(Event::Parsed);
    job.take(Event::Admitted);
    EXPECT_EQ(job.takeDue(start + 4500ms), Due::NotReady);
    job.take(Event::Prepared);
    EXPECT_EQ(job.takeDue(start + 1h), Due::Nothing);
    EXPECT_FALSE(job.deadline());
}

TEST_F(JobLifecycleTest, AClosedRunIsTerminatedThenKilledThenGivenUp) {
    getReady();
    EXPECT_FALSE(job.isClosed());
    job.close(Ending::EndOfStream, start + 10s);
    EXPECT_TRUE(job.isClosed());
    EXPECT_EQ(job.deadline(), start + 15s);
    EXPECT_EQ(job.takeDue(start + 14999ms), Due::Nothing);
    EXPECT_EQ(job.takeDue(start + 15s), Due::Terminate);
    EXPECT_EQ(job.deadline(), start + 16s);
    EXPECT_EQ(job.takeDue(start + 16s), Due::Kill);
    EXPECT_EQ(job.takeDue(start + 16s), Due::Nothing);
    EXPECT_EQ(job.takeDue(start + 21s), Due::GiveUp);
    EXPECT_FALSE(job.deadline());
}

TEST_F(JobLifecycleTest, AFailureAndASilentProcessAreEndedLikewise) {
    getReady();
    job.fail("what", start + 1s);
    EXPECT_EQ(job.takeDue(start + 6s), Due::Terminate);
    JobLifecycle silent;
    silent.beginRun(start);
    silent.closeSilently(start + 1s);
    EXPECT_EQ(silent.deadline(), start + 4500ms);  // which comes before its end is due
    EXPECT_EQ(silent.takeDue(start + 4500ms), Due::NotReady);
}

TEST_F(JobLifecycleTest, WhatComesAfterTheFirstReasonChangesNeitherItNorTheTime) {
    getReady();
    job.fail("the cause", start);
    job.fail("its consequence", start + 1s);
    job.close(Ending::EndOfStream, start + 2s);
    EXPECT_EQ(job.deadline(), start + 5s);
    EXPECT_EQ(job.judged({}).reason, JobEventEnd::FAILED);
    EXPECT_EQ(job.judged({}).message, "the cause");
}

TEST_F(JobLifecycleTest, ARunIsBlamedOnWhatWasNotSaidBefore) {
    job.beginRun(start);
    EXPECT_TRUE(job.blame("too slow"));
    EXPECT_FALSE(job.blame("something else"));
    job.close(Ending::Failure, start);
    EXPECT_EQ(job.judged({}).message, "too slow");
}

TEST_F(JobLifecycleTest, TheNextRunComesAfterTheDelayAndBeginsAnew) {
    getReady();
    EXPECT_EQ(failAt(start + 1s), 500ms);
    EXPECT_EQ(job.deadline(), start + 1500ms);
    EXPECT_EQ(job.takeDue(start + 1499ms), Due::Nothing);
    EXPECT_EQ(job.takeDue(start + 1500ms), Due::NextRun);
    job.beginRun(start + 2s);
    EXPECT_EQ(job.state(), Stage::Checking);
    EXPECT_FALSE(job.isClosed());
    EXPECT_EQ(job.deadline(), start + 6500ms);
    EXPECT_EQ(job.judged({}).reason, JobEventEnd::CRASHED);  // nothing of the last one's failure
}

TEST_F(JobLifecycleTest, TheDelayGrowsUntilARunWasGood) {
    getReady();
    job.playing(start);
    EXPECT_EQ(failAt(start + 1s), 500ms);
    getReady();
    job.playing(start + 2s);
    EXPECT_EQ(failAt(start + 31999ms), 1000ms);
    getReady();
    job.playing(start + 40s);
    EXPECT_EQ(failAt(start + 70s), 500ms);
}

TEST_F(JobLifecycleTest, OnlyAFailureIsAReasonToPlayAgainAndOnlyWhereThatIsAllowed) {
    getReady();
    job.close(Ending::EndOfStream, start);
    EXPECT_FALSE(job.endRun(job.judged({}), /*mayPlayAgain=*/true, start));
    EXPECT_TRUE(job.isOver());
    JobLifecycle forbidden;
    forbidden.beginRun(start);
    EXPECT_FALSE(forbidden.endRun(forbidden.judged({}), /*mayPlayAgain=*/false, start));
    EXPECT_TRUE(forbidden.isOver());
}

TEST_F(JobLifecycleTest, AJobThatWasReadyOnceOrIsTriedAgainWasSetUp) {
    job.beginRun(start);
    job.take(Event::Parsed);
    job.take(Event::Admitted);
    EXPECT_FALSE(job.wasSetUp());
    job.take(Event::Prepared);
    EXPECT_TRUE(job.wasSetUp());
    JobLifecycle waiting;
    waiting.beginRun(start);
    EXPECT_TRUE(waiting.endRun(waiting.judged({}), /*mayPlayAgain=*/true, start));
    EXPECT_TRUE(waiting.wasSetUp());
}

TEST_F(JobLifecycleTest, APipelineThatNeverParsedIsNotTriedAgain) {
    job.beginRun(start);
    EXPECT_FALSE(failAt(start));
    EXPECT_TRUE(job.isOver());
    EXPECT_FALSE(job.wasSetUp());
}

TEST_F(JobLifecycleTest, OneThatParsedOnceIsTriedAgainWhateverItSaysLater) {
    job.beginRun(start);
    job.take(Event::Parsed);
    EXPECT_EQ(failAt(start), 500ms);
    job.beginRun(start + 1s);
    EXPECT_EQ(failAt(start + 1s), 1000ms);
}

}  // namespace
}  // namespace tarn::peers
