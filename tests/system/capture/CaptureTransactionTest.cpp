// Capture formats that are refused, interrupted, or kept in a file that cannot be replaced.
#include <signal.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "tests/support/Eventually.h"
#include "tests/system/capture/CaptureBed.h"

namespace tarn::test {

namespace {

using namespace std::chrono_literals;

class CaptureTransactionTest : public CaptureBed {
  protected:
    /// There is no such format: the ingest service refuses it.
    static void orderTheImpossible() {
        EXPECT_EQ(orderFormat({"1080", "i", "60"}, {"0"}).exitStatus, 0);
    }

    static bool isInForce(const std::string& wanted) {
        return eventually([&] { return format() == wanted; }, 30s);
    }

    void killEverything() {
        service().killHard();
        for (const auto id : ingestProcesses()) {
            ::kill(id, SIGKILL);
        }
        ASSERT_TRUE(eventually([] { return ingestProcesses().empty(); }));
    }
};

/// The file of the capture format is a mount point of its own.
class CaptureFileThatIsAMountPointTest : public CaptureTransactionTest {
  protected:
    void SetUp() override {
        CaptureTransactionTest::SetUp();
        std::ofstream("/tmp/outside").flush();
        std::ofstream(persistentFile).flush();
        ASSERT_EQ(::mount("/tmp/outside", persistentFile, nullptr, MS_BIND, nullptr), 0);
    }
    void TearDown() override {
        CaptureTransactionTest::TearDown();
        EXPECT_EQ(::umount2(persistentFile, MNT_DETACH), 0);
    }
};

TEST_F(CaptureTransactionTest, AFormatThatIsRefusedGivesWayToTheLastOneThatRan) {
    configureIngest();
    startService();
    ASSERT_EQ(setFormat({"720", "p", "50"}, {"0"}).exitStatus, 0);
    orderTheImpossible();
    EXPECT_TRUE(service().waitForLog("> ... Failed"));
    EXPECT_TRUE(service().waitForLog(
        "Capture format 1080i60 uyvy422_8, inputs 0, frame offsets 0 did not come up, and has "
        "never been seen running: it gives way to the last one that has, 720p50"));
    EXPECT_TRUE(eventually([] { return ingestProcesses().size() == 1; }));
    EXPECT_TRUE(isInForce("720p50 uyvy422_8 0"));
    EXPECT_EQ(frameSize(0), 1280U * 720 * 2);
}

TEST_F(CaptureTransactionTest, AFormatThatIsRefusedDoesNotOutliveARestart) {
    configureIngest();
    startService();
    ASSERT_EQ(setFormat({"720", "p", "50"}, {"0"}).exitStatus, 0);
    const auto before = service().logLength();
    orderTheImpossible();
    ASSERT_TRUE(service().waitForLogAfter(before, "Save OK"));
    killEverything();
    startService();
    EXPECT_TRUE(service().waitForLog("it gives way to the last one that has, 720p50"));
    EXPECT_TRUE(isInForce("720p50 uyvy422_8 0"));
    EXPECT_EQ(frameSize(0), 1280U * 720 * 2);
}

TEST_F(CaptureTransactionTest, WithoutOneThatRanTheDefaultFormatIsTaken) {
    configureIngest();
    startService();
    const auto before = service().logLength();
    orderTheImpossible();
    ASSERT_TRUE(service().waitForLogAfter(before, "Save OK"));
    killEverything();
    startService();
    EXPECT_TRUE(service().waitForLog("it gives way to the default one"));
    EXPECT_TRUE(isInForce("1080i25 uyvy422_8 0"));
}

TEST_F(CaptureTransactionTest, AfterARefusedFormatTheNextOneIsLaunchedInTheNextCycle) {
    configureIngest();
    startService();
    orderTheImpossible();
    ASSERT_TRUE(service().waitForLog("> ... Failed"));
    orderFormat({"720", "p", "50"}, {"0"});
    EXPECT_TRUE(eventuallyWithin(3s, [&] {
        return service().log().contains(
            "Starting Deltacast service: " + std::string(ingestProgram) +
            " --pixel-format uyvy422_8 --board0-input-list '0 ' "
            "--board0-input-frameoffset '0 ' --line-count 720");
    }));
    EXPECT_TRUE(isInForce("720p50 uyvy422_8 0"));
}

TEST_F(CaptureTransactionTest, AnOrderThatAStopInterruptedIsCarriedOutByTheNextService) {
    configureMisbehaving("--ignore-stop");
    startService();
    orderFormat({"720", "p", "50"}, {"0"});
    ASSERT_TRUE(service().waitForLog("still running on pid"));
    EXPECT_EQ(service().stop(), Ending::exited(0));
    for (const auto id : misbehavingProcesses()) {
        ::kill(id, SIGKILL);  // it was told to stop, and has done so at last
    }
    ASSERT_TRUE(eventually([] { return misbehavingProcesses().empty(); }));
    startService();
    EXPECT_TRUE(isInForce("720p50 uyvy422_8 0"));
}

TEST_F(CaptureTransactionTest, AnOrderThatAKillInterruptedIsCarriedOutByTheNextService) {
    configureMisbehaving("--ignore-stop");
    startService();
    orderFormat({"720", "p", "50"}, {"0"});
    ASSERT_TRUE(service().waitForLog("still running on pid"));
    service().killHard();
    const auto stubborn = misbehavingProcesses();
    startService();
    EXPECT_TRUE(service().log().contains("was ordered before this service ended last"));
    EXPECT_TRUE(isInForce("720p50 uyvy422_8 0")) << "also where the old one goes on";
    EXPECT_NE(misbehavingProcesses(), stubborn);
}

TEST_F(CaptureTransactionTest, TheLastFormatComesBackAfterAKillAndAReboot) {
    configureIngest();
    startService();
    ASSERT_EQ(setFormat({"720", "p", "50"}, {"2"}).exitStatus, 0);
    killEverything();
    emptyAsByAReboot();
    startService();
    EXPECT_FALSE(service().log().contains("has not been seen running yet"));
    EXPECT_TRUE(isInForce("720p50 uyvy422_8 2"));
    EXPECT_EQ(frameSize(2), 1280U * 720 * 2);
}

TEST_F(CaptureFileThatIsAMountPointTest, KeepsTheLastFormat) {
    configureIngest();
    startService();
    ASSERT_EQ(setFormat({"576", "i", "25"}, {"0", "1", "2"}).exitStatus, 0);
    ASSERT_EQ(setFormat({"720", "p", "50"}, {"0"}).exitStatus, 0);
    EXPECT_FALSE(service().log().contains("Failed writing persistent deltacast"));
    EXPECT_GT(std::filesystem::file_size("/tmp/outside"), 0U);
    killEverything();
    startService();
    EXPECT_TRUE(isInForce("720p50 uyvy422_8 0"));
}

TEST_F(CaptureFileThatIsAMountPointTest, KeepsTheLastFormatInAFolderThatCannotBeWritten) {
    const auto* const folder = "/tmp/closed";
    const auto file = std::string(folder) + "/format";
    std::filesystem::create_directory(folder);
    ASSERT_EQ(::mount("closed", folder, "tmpfs", 0, nullptr), 0);
    std::ofstream(file).flush();
    ASSERT_EQ(::mount("/tmp/outside", file.c_str(), nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(::mount(nullptr, folder, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    configureIngest(ingestProgram, file);
    startService();
    EXPECT_EQ(setFormat({"720", "p", "50"}, {"0"}).exitStatus, 0);
    EXPECT_TRUE(service().log().contains("Save OK"));
    EXPECT_TRUE(service().log().contains("Failed writing " + file + ".record"));
    killEverything();
    startService();
    EXPECT_TRUE(isInForce("720p50 uyvy422_8 0"));
    EXPECT_EQ(::umount2(folder, MNT_DETACH), 0);
}

}  // namespace

}  // namespace tarn::test
