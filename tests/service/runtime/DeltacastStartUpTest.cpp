#include "service/runtime/DeltacastStartUp.h"

#include <gmock/gmock.h>

#include "service/devices/capture/DeltacastStatus.h"
#include "tests/support/LogCapture.h"

namespace tarn::service {

using devices::DeltacastStatus;
using testing::ElementsAre;

class DeltacastStartUpTest : public testing::Test {
  protected:
    static constexpr auto looking =
        "INFO Leaving some time for Deltacast handler to look for Deltacast service...";
    static constexpr auto done = "INFO ... Done";
    static constexpr auto starting =
        "INFO Deltacast service status is STARTING, waiting for RUNNING status...";
    static constexpr auto unreachable =
        "INFO Deltacast service status is UNREACHABLE, setting default configuration";
    static constexpr auto failed =
        "ERROR ... Failed waiting for device start. Persistent jobs may end up in error";

    void run(const std::string& persistentFile = "") {
        const DeltacastStartUp::Dependencies dependencies = {
            [this] { return status; },
            [this](std::uint32_t seconds) {
                calls.push_back("wait " + std::to_string(seconds));
                isStopped = isStoppedWhileWaiting;
                return starts;
            },
            [this](const std::string& path) {
                calls.push_back("file " + path);
                return fileIsGood;
            },
            [this] {
                calls.emplace_back("default");
                return defaultIsGood;
            },
            [this](std::chrono::milliseconds duration) {
                calls.push_back("pause " + std::to_string(duration.count()));
                return isStopped;
            }};
        DeltacastStartUp(dependencies, persistentFile).run();
    }

    const test::LogCapture log;
    DeltacastStatus status = DeltacastStatus::Unreachable;
    bool starts = true;
    bool fileIsGood = true;
    bool defaultIsGood = true;
    bool isStopped = false;
    bool isStoppedWhileWaiting = false;
    std::vector<std::string> calls;
};

TEST_F(DeltacastStartUpTest, GoesOnWithAServiceThatRuns) {
    status = DeltacastStatus::Running;
    run("/file");
    EXPECT_THAT(calls, ElementsAre("pause 3000"));
    EXPECT_THAT(log.lines(),
                ElementsAre(looking, done, "INFO Deltacast service status is RUNNING, continuing"));
}

TEST_F(DeltacastStartUpTest, WaitsFiveSecondsForAServiceThatStarts) {
    status = DeltacastStatus::Starting;
    run("/file");
    EXPECT_THAT(calls, ElementsAre("pause 3000", "wait 5"));
    EXPECT_THAT(log.lines(), ElementsAre(looking, done, starting, done));
}

TEST_F(DeltacastStartUpTest, SaysThatAServiceStayedStarting) {
    status = DeltacastStatus::Starting;
    starts = false;
    run("/file");
    // The last one asks whether the wait was broken off by a stop.
    EXPECT_THAT(calls, ElementsAre("pause 3000", "wait 5", "pause 0"));
    EXPECT_THAT(log.lines(), ElementsAre(looking, done, starting, failed));
}

TEST_F(DeltacastStartUpTest, AppliesTheFileWhenTheServiceIsUnreachable) {
    run("/file");
    EXPECT_THAT(calls, ElementsAre("pause 3000", "file /file", "wait 10"));
    EXPECT_THAT(log.lines(), ElementsAre(looking, done, unreachable, done));
}

TEST_F(DeltacastStartUpTest, AppliesTheDefaultFormatWithoutAFile) {
    run("");
    EXPECT_THAT(calls, ElementsAre("pause 3000", "default", "wait 10"));
}

TEST_F(DeltacastStartUpTest, AppliesTheDefaultFormatWhenTheFileCannotBeUsed) {
    fileIsGood = false;
    run("/file");
    EXPECT_THAT(calls, ElementsAre("pause 3000", "file /file", "default", "wait 10"));
}

TEST_F(DeltacastStartUpTest, SaysThatTheServiceDidNotStart) {
    starts = false;
    run();
    EXPECT_THAT(log.lines(), ElementsAre(looking, done, unreachable, failed));
}

TEST_F(DeltacastStartUpTest, WaitsForNothingWhenNoFormatCouldBeApplied) {
    defaultIsGood = false;
    run();
    EXPECT_THAT(calls, ElementsAre("pause 3000", "default"));
    EXPECT_THAT(log.lines(), ElementsAre(looking, done, unreachable));
}

TEST_F(DeltacastStartUpTest, EndsWithTheStopOfTheService) {
    isStopped = true;
    run();
    EXPECT_THAT(calls, ElementsAre("pause 3000"));
    EXPECT_THAT(log.lines(), ElementsAre(looking));
}

TEST_F(DeltacastStartUpTest, LogsNoErrorWhenTheStopEndsTheWait) {
    starts = false;
    isStoppedWhileWaiting = true;
    run();
    EXPECT_THAT(log.lines(), ElementsAre(looking, done, unreachable));
}

}  // namespace tarn::service
