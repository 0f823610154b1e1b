#include "peers/job_runtime/pipeline/RunResult.h"

#include <gtest/gtest.h>

namespace tarn::peers {
namespace {

using tarn::proto::job_monitoring::JobEventEnd;
using Ending = RunFacts::Ending;

const ProcessEnd crashed{.exitStatus = {}, .signal = 11};
const ProcessEnd exited{.exitStatus = 0, .signal = {}};

RunFacts factsOf(std::initializer_list<Ending> endings, const std::string& failure = {}) {
    RunFacts facts;
    for (const auto ending : endings) {
        facts.note(ending);
    }
    facts.failure = failure;
    return facts;
}

TEST(RunResultTest, AProcessThatEndsUnannouncedHasCrashed) {
    const auto result = judge({}, crashed);
    EXPECT_EQ(result.reason, JobEventEnd::CRASHED);
    EXPECT_EQ(result.message, "killed by signal 11 (Segmentation fault)");
    EXPECT_TRUE(result.failed());
    EXPECT_EQ(judge({}, exited).reason, JobEventEnd::CRASHED);
}

TEST(RunResultTest, AReportedFailureGivesItsMessage) {
    const auto result = judge(factsOf({Ending::Failure}, "no such file"), exited);
    EXPECT_EQ(result.reason, JobEventEnd::FAILED);
    EXPECT_EQ(result.message, "no such file");
    EXPECT_TRUE(result.failed());
}

TEST(RunResultTest, TheEndOfTheStreamIsNoFailure) {
    const auto result = judge(factsOf({Ending::EndOfStream, Ending::StopAsked}), exited);
    EXPECT_EQ(result.reason, JobEventEnd::END_OF_STREAM);
    EXPECT_FALSE(result.failed());
}

TEST(RunResultTest, WhatFollowsAStopIsItsConsequence) {
    const auto facts = factsOf({Ending::StopAsked, Ending::Failure, Ending::EndOfStream});
    const auto result = judge(facts, {.exitStatus = {}, .signal = 9});
    EXPECT_EQ(result.reason, JobEventEnd::DESTROYED);
    EXPECT_EQ(result.message, "destroyed; pipeline process killed by signal 9 (Killed)");
    EXPECT_FALSE(result.failed());
}

}  // namespace
}  // namespace tarn::peers
