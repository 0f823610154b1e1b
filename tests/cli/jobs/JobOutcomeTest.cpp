#include "cli/jobs/JobOutcome.h"

#include <gtest/gtest.h>

#include "proto/job_monitoring.pb.h"

namespace tarn::cli {

using proto::job_monitoring::JobEventEnd;

namespace {

JobEventEnd end(JobEventEnd::Reason reason) {
    JobEventEnd event;
    event.set_reason(reason);
    return event;
}

}  // namespace

TEST(JobOutcomeTest, OnlyTheEndOfTheStreamIsDone) {
    EXPECT_EQ(JobOutcome::fromEnd("a", end(JobEventEnd::END_OF_STREAM)).exitStatus(),
              ExitStatus::Done);
    for (const auto reason : {JobEventEnd::DESTROYED, JobEventEnd::FAILED, JobEventEnd::CRASHED,
                              JobEventEnd::UNKNOWN}) {
        EXPECT_EQ(JobOutcome::fromEnd("a", end(reason)).exitStatus(), ExitStatus::Failed);
    }
}

TEST(JobOutcomeTest, NamesTheSignal) {
    auto event = end(JobEventEnd::CRASHED);
    event.set_signal(11);
    EXPECT_EQ(JobOutcome::fromEnd("a", event).text, "job a crashed, signal 11 (SIGSEGV)");
    event.set_signal(12345);
    EXPECT_EQ(JobOutcome::fromEnd("a", event).text, "job a crashed, signal 12345");
}

TEST(JobOutcomeTest, NamesTheExitStatus) {
    auto event = end(JobEventEnd::CRASHED);
    event.set_exit_status(3);
    EXPECT_EQ(JobOutcome::fromEnd("a", event).text, "job a crashed, exit status 3");
}

TEST(JobOutcomeTest, GivesTheJobsOwnMessage) {
    auto event = end(JobEventEnd::FAILED);
    event.set_message("no such file");
    const auto outcome = JobOutcome::fromEnd("a", event);
    EXPECT_EQ(outcome.text, "job a failed: no such file");
    EXPECT_STREQ(outcome.word(), "failed");
}

TEST(JobOutcomeTest, SaysThatAJobWasDestroyed) {
    const auto outcome = JobOutcome::fromEnd("a", end(JobEventEnd::DESTROYED));
    EXPECT_EQ(outcome.text, "job a was destroyed");
    EXPECT_STREQ(outcome.word(), "destroyed");
}

TEST(JobOutcomeTest, KeepsStatusesOfItsOwnForNoAnswerAndInterrupt) {
    EXPECT_EQ((JobOutcome{JobOutcome::Kind::NoAnswer, ""}).exitStatus(), ExitStatus::NoAnswer);
    EXPECT_EQ((JobOutcome{JobOutcome::Kind::Interrupted, ""}).exitStatus(),
              ExitStatus::Interrupted);
}

}  // namespace tarn::cli
