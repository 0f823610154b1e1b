#include "tests/chaos/model/LaunchLog.h"

#include <gtest/gtest.h>

namespace tarn::chaos {

namespace {

using Lines = std::vector<std::string>;

const std::string launch =
    "INFO  Workflow creator > Creating workflow: tarnWorkflowLauncher -l a-job -e ipc:///tmp/17 -d "
    "&\n";
const std::string late =
    "ERROR Workflow creator > Failed starting external job: Job setup endpoint: nobody answered on "
    "ipc:///tmp/17 within 2000 ms\n";

class LaunchLogTest : public testing::Test {
  protected:
    LaunchLog launchFrom(std::size_t line) const {
        return {log, line, {.id = "the-id", .label = "a-job"}};
    }

    test::OutputLines log;
};

}  // namespace

TEST_F(LaunchLogTest, TheLauncherWasLateWhenNobodyAnsweredOnItsOwnEndpoint) {
    log.append(launch);
    EXPECT_FALSE(launchFrom(0).launcherWasLate());
    log.append(late);
    EXPECT_TRUE(launchFrom(0).launcherWasLate());
}

TEST_F(LaunchLogTest, AnotherLauncherThatWasLateIsNoReason) {
    log.append("Creating workflow: tarnWorkflowLauncher -l a-job-2 -e ipc:///tmp/17 -d &\n");
    log.append(late);
    log.append("Creating workflow: tarnWorkflowLauncher -l a-job -e ipc:///tmp/18 -d &\n");
    EXPECT_FALSE(launchFrom(0).launcherWasLate());
}

TEST_F(LaunchLogTest, AnEarlierLaunchOfTheSameJobIsNoReason) {
    log.append(launch);
    log.append(late);
    EXPECT_FALSE(launchFrom(2).launcherWasLate());
}

TEST_F(LaunchLogTest, GivesTheLastLinesThatNameTheJobItsLabelOrItsEndpoint) {
    log.append("the-id was here before\n");
    log.append(launch);
    log.append("Adding job the-id\n");
    log.append("nothing\n");
    log.append("to ipc:///tmp/17\n");
    EXPECT_EQ(launchFrom(1).lastLines(2), (Lines{"Adding job the-id", "to ipc:///tmp/17"}));
    EXPECT_EQ(launchFrom(1).lastLines(9).size(), 3U);
}

}  // namespace tarn::chaos
