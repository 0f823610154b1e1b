#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/support/Process.h"
#include "tests/system/CaptureBed.h"
#include "tests/system/Eventually.h"
#include "tests/system/Processes.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

class Capture : public CaptureBed {
  protected:
    /// An even number: CAPTURE_ROUNDS, or a handful.
    static int reconfigurations() {
        const char* const wish = std::getenv("CAPTURE_ROUNDS");
        return wish != nullptr ? std::max(2, std::atoi(wish) / 2 * 2) : 4;
    }
};

TEST_F(Capture, anUnreachableIngestServiceIsStartedWithTheDefaultFormat) {
    configureIngest();
    startService();
    const auto& log = service().log();
    EXPECT_TRUE(
        log.contains("Leaving some time for Deltacast handler to look for Deltacast service..."));
    EXPECT_TRUE(
        log.contains("Deltacast service status is UNREACHABLE, setting default configuration"));
    EXPECT_TRUE(log.contains("Service reconfigured!"));
    EXPECT_TRUE(log.contains(" to Running"));
    EXPECT_FALSE(log.contains("Failed waiting for device start"));
    EXPECT_EQ(format(), "1080i25 uyvy422_8 0");
    EXPECT_EQ(frameSize(0), 1920U * 1080 * 2);
    EXPECT_FALSE(std::filesystem::exists(persistentFile)) << "the default format is not kept";
}

TEST_F(Capture, aRunningIngestServiceIsLeftAsItIs) {
    configureIngest();
    const auto ingest = startIngest({"--line-count", "720", "--field-mode", "p"});
    startService();
    EXPECT_TRUE(service().log().contains("Deltacast service status is RUNNING, continuing"));
    EXPECT_EQ(format(), "720p25 uyvy422_8 0");
    EXPECT_EQ(ingestProcesses(), std::vector<pid_t>{ingest->id()});
    ingest->signal(SIGTERM);
    EXPECT_EQ(ingest->waitForEnd(20s), Ending::exited(0));
}

TEST_F(Capture, aNewFormatIsInForceAndThePictureFollows) {
    configureIngest();
    startService();
    const auto before = ingestProcesses();
    const auto run = setFormat({"720", "p", "50"}, {"0", "1:-1"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(format(), "720p50 uyvy422_8 0, 1:-1");
    EXPECT_EQ(frameSize(1), 1280U * 720 * 2);
    EXPECT_NE(ingestProcesses(), before);
    EXPECT_EQ(ingestProcesses().size(), 1U);
    EXPECT_TRUE(std::filesystem::exists(persistentFile));
}

TEST_F(Capture, aFormatThatDoesNotExistIsNotInForceAndTheLogSaysWhy) {
    configureIngest();
    startService();
    const auto run = setFormat({"1080", "i", "60"}, {"0"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(run.err.find("1080i60 uyvy422_8, inputs 0 is not in force after 15 s"),
              std::string::npos)
        << run.err;
    EXPECT_TRUE(service().waitForLog("there is no capture format 1080i60"));
    EXPECT_TRUE(service().waitForLog("... Failed"));
    EXPECT_EQ(setFormat({"1080", "i", "25"}, {"0"}).exitStatus, 0) << "it is not stuck";
}

TEST_F(Capture, aKilledIngestServiceIsNoticedAndCanBeStartedAgain) {
    configureIngest();
    startService();
    const auto killed = ingestProcesses().at(0);
    const auto length = service().logLength();
    ::kill(killed, SIGKILL);
    EXPECT_TRUE(service().waitForLogAfter(length, "Changing status from Running to Unreachable"));
    const auto run = setFormat({"576", "i", "25"}, {"0"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(sharedMemory().size(), 1U) << "what the killed one left is removed";
}

TEST_F(Capture, theLastFormatComesBackAfterServiceAndIngestWereKilled) {
    configureIngest();
    startService();
    ASSERT_EQ(setFormat({"720", "p", "50"}, {"2"}).exitStatus, 0);
    service().killHard();
    ::kill(ingestProcesses().at(0), SIGKILL);
    startService();
    EXPECT_TRUE(service().log().contains(
        std::string("Restoring persistent deltacast configuration from file: ") + persistentFile));
    EXPECT_EQ(format(), "720p50 uyvy422_8 2");
}

TEST_F(Capture, anIngestServiceThatLivesOnIsFoundByTheNextService) {
    configureIngest();
    startService();
    ASSERT_EQ(setFormat({"720", "p", "50"}, {"0"}).exitStatus, 0);
    const auto ingest = ingestProcesses();
    service().killHard();
    startService();
    EXPECT_TRUE(service().log().contains("Deltacast service status is RUNNING, continuing"));
    EXPECT_EQ(ingestProcesses(), ingest);
    EXPECT_EQ(format(), "720p50 uyvy422_8 0");
}

TEST_F(Capture, aJobReadsAChannel) {
    configureIngest();
    startService();
    const auto run = tarnctl({"jobs", "submit", "--wait", "--pipeline",
                              "shmsrc socket-path=" + channelSocket(0) +
                                  " num-buffers=10 is-live=true do-timestamp=true"
                                  " ! video/x-raw,format=UYVY,width=1920,height=1080,"
                                  "framerate=25/1 ! filesink location=/tmp/recording"});
    EXPECT_EQ(run.exitStatus, 0) << run.out << run.err;
    EXPECT_EQ(std::filesystem::file_size("/tmp/recording"), 10U * 1920 * 1080 * 2);
}

TEST_F(Capture, severalReconfigurationsLeaveNothingBehind) {
    configureIngest();
    startService();
    ASSERT_EQ(setFormat({"720", "p", "50"}, {"0"}).exitStatus, 0);
    const auto descriptors = descriptorsOf(service().id());
    const int rounds = reconfigurations();
    for (int i = 0; i < rounds; ++i) {
        const auto reader = startReader(0);
        const auto run = i % 2 == 0 ? setFormat({"576", "i", "25"}, {"0"})
                                    : setFormat({"720", "p", "25"}, {"0"});
        ASSERT_EQ(run.exitStatus, 0) << run.err << " in round " << i;
        EXPECT_NE(reader->waitForEnd(20s), Ending()) << "the channel has ended for it";
    }
    EXPECT_EQ(format(), "720p25 uyvy422_8 0");
    EXPECT_EQ(ingestProcesses().size(), 1U);
    EXPECT_EQ(sharedMemory().size(), 1U);
    EXPECT_TRUE(eventually([&] { return descriptorsOf(service().id()) <= descriptors; }))
        << descriptorsOf(service().id()) << " instead of " << descriptors;
}

TEST_F(Capture, withoutAnIngestServiceThereIsNoPauseAndTheRequestsAreRefused) {
    configure("<TarnHubConfig/>\n");
    startService();
    EXPECT_FALSE(service().log().contains("Deltacast handler"));
    const auto run = tarnctl({"capture", "show"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.err, "tarnctl: No Deltacast controller configured\n");
    EXPECT_EQ(setFormat({"720", "p", "50"}, {"0"}).exitStatus, 1);
}

}  // namespace

}  // namespace tarn::test
