#include <gmock/gmock.h>

#include <signal.h>

#include <filesystem>
#include <fstream>

#include "tests/peers/ingest_service/IngestBed.h"
#include "tests/support/Eventually.h"

// The built program with devices that fail, fall silent and come back.
namespace tarn::test {
namespace {

using namespace std::chrono_literals;
using Level = device_tree::GlobalStatus::Level;

/// A device of channel 0 is a process that gives pictures through shared memory: it is not there,
/// halted or killed like any card. Pictures are 720 by 576, in 25 frames.
class IngestDeviceTest : public IngestBed {
  protected:
    const std::string feed = (folder.path() / "device").string();
    std::unique_ptr<Process> device;

    std::string deviceCaps(const std::string& scan) const {
        return "video/x-raw,format=UYVY,width=720,height=576,framerate=25/1,interlace-mode=" + scan;
    }
    std::string source(const std::string& scan = "interleaved") const {
        return "shmsrc is-live=true do-timestamp=true socket-path=" + feed + " ! " +
               deviceCaps(scan);
    }

    /// Every pixel of its picture is red.
    void plugIn() {
        std::filesystem::remove(feed);
        device = std::make_unique<Process>(std::vector<std::string>{
            "gst-launch-1.0", "videotestsrc", "is-live=true", "pattern=red", "!",
            deviceCaps("interleaved"), "!", "shmsink", "wait-for-connection=false",
            "shm-size=8000000", "socket-path=" + feed});
        ASSERT_TRUE(device->waitForOut("PLAYING"));
    }
    void unplug() {
        device->signal(SIGINT);  // it takes its memory along
        device->wait();
        device.reset();
    }
    void TearDown() override {
        if (device) {
            device->signal(SIGCONT);
            unplug();
        }
    }

    void startFrom(const std::string& text, std::vector<std::string> options = {}) {
        options.insert(options.end(), {"--line-count", "576", "--source", text});
        startWith(options);
    }

    bool becomes(const std::string& signal) const {
        return eventually([&] { return this->signal("0") == signal; });
    }
    Level level() const { return node().getGlobalStatus().level; }
    Level levelOfChannel() const { return channel("0")->getGlobalStatus().level; }

    /// The luminance at the beginning of a line of a frame that a reader gets.
    int luminance(int line) {
        EXPECT_EQ(read("0", 1), 720U * 576 * 2);
        std::ifstream file(folder.path() / "frames", std::ios::binary);
        file.seekg(line * 720 * 2 + 1);
        return file.get();
    }

    /// Whether the lines of a frame that a reader gets are black and white by turns.
    bool fieldsDiffer() {
        const int first = luminance(0);
        std::ifstream file(folder.path() / "frames", std::ios::binary);
        for (int line = 1; line < 576; ++line) {
            file.seekg(line * 720 * 2 + 1);
            if (file.get() != (line % 2 == 0 ? first : white + black - first)) {
                return false;
            }
        }
        return true;
    }
    static constexpr int white = 235;
    static constexpr int red = 81;
    static constexpr int black = 16;
};

TEST_F(IngestDeviceTest, ADeviceThatCannotBeOpenedIsInErrorAndSaysWhatIsShownInstead) {
    folder.write("video0", "no device");
    startWith({"--line-count", "576", "--device-prefix", (folder.path() / "video").string()});
    ASSERT_TRUE(becomes("lost"));
    EXPECT_EQ(levelOfChannel(), Level::Error);
    EXPECT_EQ(level(), Level::Error);
    EXPECT_THAT(node().getGlobalStatus().description,
                testing::StartsWith("channel 0: no signal: "));
    EXPECT_TRUE(eventually([&] { return status("0", "Shown") == "test picture"; }));
    EXPECT_EQ(read("0", 1), 720U * 576 * 2) << "readers are not left alone";
    EXPECT_TRUE(eventually([&] { return count("0", "FramesReplaced") > 0; }));
    EXPECT_EQ(count("0", "FramesCaptured"), 0U);
}

TEST_F(IngestDeviceTest, ADeviceThatAppearsIsCapturedFrom) {
    startFrom(source());
    ASSERT_TRUE(becomes("lost"));
    plugIn();
    ASSERT_TRUE(becomes("locked"));
    EXPECT_EQ(levelOfChannel(), Level::Ok);
    EXPECT_EQ(level(), Level::Ok);
    EXPECT_EQ(status("0", "Shown"), "device");
    EXPECT_EQ(luminance(0), red);
}

TEST_F(IngestDeviceTest, ASilentDeviceIsInErrorUntilItsFramesComeAgain) {
    plugIn();
    startFrom(source());
    ASSERT_TRUE(becomes("locked"));
    device->signal(SIGSTOP);
    ASSERT_TRUE(becomes("lost"));
    EXPECT_EQ(level(), Level::Error);
    EXPECT_THAT(node().getGlobalStatus().description, testing::HasSubstr("no frame for 1000 ms"));
    EXPECT_EQ(count("0", "SignalLosses"), 1U);
    const auto before = count("0", "FramesCaptured");
    device->signal(SIGCONT);
    ASSERT_TRUE(becomes("locked"));
    EXPECT_EQ(level(), Level::Ok);
    EXPECT_TRUE(eventually([&] { return count("0", "FramesCaptured") > before; }));
}

TEST_F(IngestDeviceTest, AReaderStaysWhileADeviceIsUnpluggedAndPluggedIn) {
    plugIn();
    startFrom(source());
    ASSERT_TRUE(becomes("locked"));
    Process reader(
        {"gst-launch-1.0", "shmsrc", "socket-path=" + prefix + "-channel-0", "!", "fakesink"});
    ASSERT_TRUE(reader.waitForOut("PLAYING"));
    unplug();
    ASSERT_TRUE(becomes("lost"));
    plugIn();
    ASSERT_TRUE(becomes("locked"));
    EXPECT_EQ(status("0", "Shown"), "device");
    EXPECT_EQ(reader.wait(0ms).signal, SIGKILL) << "it has ended before";
}

TEST_F(IngestDeviceTest, WhatIsShownWithoutASignalIsChosen) {
    struct Choice {
        std::string option;
        std::string shown;
        int luminance;
    };
    constexpr int bars = white;
    for (const auto& choice :
         {Choice{"bars", "test picture", bars}, Choice{"black", "black", black},
          Choice{"freeze", "last frame", red}}) {
        plugIn();
        startFrom(source(), {"--without-signal", choice.option});
        ASSERT_TRUE(becomes("locked"));
        ASSERT_TRUE(eventually([&] { return luminance(0) == red; }));
        unplug();
        ASSERT_TRUE(becomes("lost"));
        EXPECT_EQ(status("0", "Shown"), choice.shown);
        EXPECT_TRUE(eventually([&] { return count("0", "FramesReplaced") > 2; }));
        EXPECT_TRUE(eventually([&] { return luminance(0) == choice.luminance; })) << choice.option;
        EXPECT_EQ(stop(), 0);
    }
}

TEST_F(IngestDeviceTest, NothingCanBeShownWithoutASignal) {
    plugIn();
    startFrom(source(), {"--without-signal", "nothing"});
    ASSERT_TRUE(becomes("locked"));
    unplug();
    ASSERT_TRUE(becomes("lost"));
    EXPECT_EQ(status("0", "Shown"), "nothing");
    EXPECT_EQ(count("0", "FramesReplaced"), 0U);
    plugIn();
    EXPECT_TRUE(becomes("locked")) << "it is looked for all the same";
}

TEST_F(IngestDeviceTest, WithoutAFrameYetAFrozenPictureIsBlack) {
    startFrom(source(), {"--without-signal", "freeze"});
    ASSERT_TRUE(becomes("lost"));
    EXPECT_TRUE(eventually([&] { return status("0", "Shown") == "black"; }));
    EXPECT_EQ(luminance(0), black);
}

// Its frames are white and black in turns: each field is of one of them.
TEST_F(IngestDeviceTest, AnInterlacedFormatIsMadeOfAProgressiveDevice) {
    startFrom(
        "videotestsrc is-live=true pattern=blink ! "
        "video/x-raw,format=UYVY,width=720,height=576,framerate=50/1,interlace-mode=progressive");
    ASSERT_TRUE(becomes("locked"));
    // A picture that a busy machine has lost leaves two of the same colour beside each other.
    EXPECT_TRUE(eventually([this] { return fieldsDiffer(); }));
}

TEST_F(IngestDeviceTest, AnInterlacedFormatIsTakenAsItIsFromAnInterlacedDevice) {
    startFrom("videotestsrc is-live=true pattern=blink ! " + deviceCaps("interleaved"));
    ASSERT_TRUE(becomes("locked"));
    const int first = luminance(0);
    std::ifstream file(folder.path() / "frames", std::ios::binary);
    file.seekg(720 * 2 + 1);
    EXPECT_EQ(file.get(), first) << "both fields are of one frame";
}

TEST_F(IngestDeviceTest, AProgressiveFormatIsMadeOfAnInterlacedDevice) {
    startWith({"--line-count", "720", "--field-mode", "p", "--frame-rate", "50", "--source",
               "videotestsrc is-live=true ! " + deviceCaps("interleaved")});
    ASSERT_TRUE(becomes("locked"));
    EXPECT_EQ(read("0", 1), 1280U * 720 * 2);
}

TEST_F(IngestDeviceTest, ASourceThatIsNoneIsInErrorAndSaysWhy) {
    startFrom("nosuchelement");
    ASSERT_TRUE(becomes("lost"));
    EXPECT_THAT(node().getGlobalStatus().description, testing::HasSubstr("nosuchelement"));
}

TEST_F(IngestDeviceTest, EachChannelHasItsOwnSource) {
    startWith({"--line-count", "576", "--board0-input-list", "0 1", "--source",
               "videotestsrc is-live=true pattern=%channel ! " + deviceCaps("interleaved")});
    ASSERT_TRUE(becomes("locked"));
    ASSERT_TRUE(eventually([&] { return signal("1") == "locked"; }));
}

TEST_F(IngestDeviceTest, TheRootIsInErrorForOneOfItsChannels) {
    plugIn();
    startFrom("shmsrc is-live=true do-timestamp=true socket-path=" + feed + "-%channel ! " +
                  deviceCaps("interleaved"),
              {"--board0-input-list", "0 1"});
    ASSERT_TRUE(becomes("lost"));
    EXPECT_EQ(level(), Level::Error);
    std::filesystem::create_symlink(feed, feed + "-0");
    ASSERT_TRUE(becomes("locked"));
    EXPECT_EQ(levelOfChannel(), Level::Ok);
    EXPECT_EQ(level(), Level::Error) << "channel 1 has none";
}

}  // namespace
}  // namespace tarn::test
