#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "proto/api_service.pb.h"
#include "proto/monitoring.pb.h"
#include "tests/support/Eventually.h"
#include "tests/support/Process.h"
#include "tests/system/capture/CaptureBed.h"
#include "tests/system/harness/Api.h"
#include "tests/system/harness/Processes.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

class CaptureTest : public CaptureBed {
  protected:
    using Level = proto::monitoring::GlobalStatus;

    /// The ingest service in the tree.
    struct Shown {
        Level::Level level = Level::UNKNOWN;
        pid_t process = 0;

        friend bool operator==(const Shown&, const Shown&) = default;
    };
    static Shown shownIn(const proto::monitoring::DeviceNode& tree) {
        for (const auto& device : tree.sub_devices()) {
            for (const auto& property : device.properties()) {
                if (property.name() == "PID") {
                    return {device.global_status().level(), std::stoi(property.value())};
                }
            }
        }
        return {};
    }
    static Shown shown() {
        const auto reply = Api().ask(requestOfType(Api::Request::GET_MONITORING_INFO));
        return reply ? shownIn(reply
                                   ->GetExtension(
                                       proto::api_service::ServiceToApiReplyGetMonitoringInfo::base)
                                   .device_tree())
                     : Shown();
    }

    /// What `tarnctl capture show` says of the ingest service.
    static std::string state() {
        const auto run = tarnctl({"capture", "show", "--json"});
        return run.exitStatus == 0 ? nlohmann::json::parse(run.out)["state"].get<std::string>()
                                   : run.err;
    }

    static bool isBackAfter(pid_t killed) {
        const auto now = shown();
        return now.level == Level::OK && now.process != killed && state() == "running";
    }

    /// An even number: CAPTURE_ROUNDS, or a handful.
    static int reconfigurations() {
        const char* const wish = std::getenv("CAPTURE_ROUNDS");
        return wish != nullptr ? std::max(2, std::atoi(wish) / 2 * 2) : 4;
    }
};

TEST_F(CaptureTest, AnUnreachableIngestServiceIsStartedWithTheDefaultFormat) {
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

TEST_F(CaptureTest, ARunningIngestServiceIsLeftAsItIs) {
    configureIngest();
    const auto ingest = startIngest({"--line-count", "720", "--field-mode", "p"});
    startService();
    EXPECT_TRUE(service().log().contains("Deltacast service status is RUNNING, continuing"));
    EXPECT_EQ(format(), "720p25 uyvy422_8 0");
    EXPECT_EQ(ingestProcesses(), std::vector<pid_t>{ingest->id()});
    ingest->signal(SIGTERM);
    EXPECT_EQ(ingest->waitForEnd(20s), Ending::exited(0));
}

TEST_F(CaptureTest, ANewFormatIsInForceAndThePictureFollows) {
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

TEST_F(CaptureTest, AFormatThatDoesNotExistIsNotInForceAndTheLogSaysWhy) {
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

TEST_F(CaptureTest, AKilledIngestServiceIsNoticedAndCanBeStartedAgain) {
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

TEST_F(CaptureTest, ADeadIngestServiceIsShownSoWithinASecondAndLeftToWhoStartedIt) {
    configureIngest();
    const auto ingest = startIngest({"--line-count", "576", "--test-picture"});
    startService();
    EXPECT_EQ(state(), "running");
    ASSERT_TRUE(eventually([&] { return shown() == Shown{Level::OK, ingest->id()}; }));
    ingest->signal(SIGKILL);
    EXPECT_TRUE(eventuallyWithin(1s, [&] { return shown().level == Level::ERROR; }));
    EXPECT_EQ(shown().process, ingest->id()) << "its description stays";
    EXPECT_EQ(state(), "not running");
    EXPECT_EQ(format(), "576i25 uyvy422_8 0");
    EXPECT_NE(tarnctl({"capture", "show"}).out.find("KLN-SDI-Ingest-Service has ended"),
              std::string::npos);
    EXPECT_FALSE(eventually([] { return !ingestProcesses().empty(); }, 3s));
    EXPECT_FALSE(service().log().contains("is started again"));
    const auto again = startIngest({"--line-count", "576", "--test-picture"});
    EXPECT_TRUE(eventually([&] { return shown() == Shown{Level::OK, again->id()}; }));
    EXPECT_EQ(state(), "running");
    again->signal(SIGTERM);
    EXPECT_EQ(again->waitForEnd(20s), Ending::exited(0));
}

TEST_F(CaptureTest, AKilledIngestServiceComesBackInItsFormat) {
    configureIngest();
    startService();
    ASSERT_EQ(setFormat({"720", "p", "50"}, {"2"}).exitStatus, 0);
    for (int kills = 0; kills < 2; ++kills) {
        const auto killed = ingestProcesses().at(0);
        ASSERT_TRUE(eventually([&] { return shown() == Shown{Level::OK, killed}; }));
        ::kill(killed, SIGKILL);
        EXPECT_TRUE(eventuallyWithin(1s, [&] { return shown() != Shown{Level::OK, killed}; }));
        EXPECT_TRUE(eventually([&] { return isBackAfter(killed); })) << "it is started again";
        EXPECT_EQ(format(), "720p50 uyvy422_8 2");
    }
    EXPECT_TRUE(service().waitForLog("is started again in 500 ms"));
    EXPECT_TRUE(service().waitForLog("is started again in 1000 ms"));
    EXPECT_EQ(sharedMemory().size(), 1U) << "what the killed ones left is removed";
}

TEST_F(CaptureTest, OneThatTheServiceBeforeStartedComesBackToo) {
    configureIngest();
    startService();
    service().killHard();
    startService();
    const auto killed = ingestProcesses().at(0);
    ::kill(killed, SIGKILL);
    EXPECT_TRUE(eventually([&] { return isBackAfter(killed); }));
    EXPECT_EQ(format(), "1080i25 uyvy422_8 0");
}

TEST_F(CaptureTest, AServiceThatStopsDoesNotStartItAgain) {
    configureIngest();
    startService();
    ::kill(ingestProcesses().at(0), SIGKILL);
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LE(ingestProcesses().size(), 1U);
    const auto left = ingestProcesses();
    EXPECT_FALSE(eventually([&] { return ingestProcesses() != left; }, 2s));
    if (left.empty()) {  // for what the killed one left
        const auto next = startIngest({"--line-count", "576", "--test-picture"});
        next->signal(SIGTERM);
        EXPECT_EQ(next->waitForEnd(20s), Ending::exited(0));
    }
}

TEST_F(CaptureTest, TheLastFormatComesBackAfterServiceAndIngestWereKilled) {
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

TEST_F(CaptureTest, AnIngestServiceThatLivesOnIsFoundByTheNextService) {
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

TEST_F(CaptureTest, AJobReadsAChannel) {
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

TEST_F(CaptureTest, SeveralReconfigurationsLeaveNothingBehind) {
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

TEST_F(CaptureTest, WithoutAnIngestServiceThereIsNoPauseAndTheRequestsAreRefused) {
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
