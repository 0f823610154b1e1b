// What is played, from tracks of a built server.
#include "peers/storage_elements/TrackPlayer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "peers/storage_elements/TrackRecorder.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"

namespace tarn::peers::storage_elements {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::StartsWith;

constexpr std::int64_t trackSize = 100'000;
constexpr std::size_t frameSize = 1000;

/// A stream in which the frames of these numbers can be decoded by themselves.
struct TrackPlayerTest : testing::Test {
    TrackPlayerTest() { control.create(trackSize); }

    void record(int first, int last, int keyEvery, const std::string& caps = "video/x-h264") {
        TrackRecorder recorder(location, 0, "recorder", 1);
        for (int i = first; i <= last; ++i) {
            const bool isKey = keyEvery > 0 && i % keyEvery == 0;
            const std::string bytes = std::to_string(i) + std::string(frameSize, '.');
            recorder.record({.flags = isKey ? 0 : deltaUnit, .caps = isKey ? caps : ""},
                            bytes.data(), bytes.size(), std::nullopt);
        }
        recorder.flush();
    }
    TrackPlayer player(TrackPlayer::AtEnd atEnd = TrackPlayer::AtEnd::Follow) const {
        return {location, 0, "player", {}, atEnd};
    }
    /// The number of the next frame, or what came instead.
    static std::string next(TrackPlayer& player) {
        DecodedFrame frame;
        switch (player.next(seconds(10), frame)) {
            case TrackPlayer::Result::Frame:
                return std::string(frame.bytes.substr(0, frame.bytes.find('.')));
            case TrackPlayer::Result::NoneYet:
                return "none yet";
            case TrackPlayer::Result::End:
                return "end";
            case TrackPlayer::Result::Overtaken:
                return "overtaken";
        }
        return "";
    }

    test::StorageProgram server;
    test::StorageClient control{server.socketPath()};
    const Location location{.address = server.socketPath()};
};

TEST_F(TrackPlayerTest, PlayingBeginsWithAFrameThatCanBeDecodedByItself) {
    record(3, 12, 5);
    auto all = player();
    EXPECT_EQ(next(all), "5");
    EXPECT_EQ(next(all), "6");
}

TEST_F(TrackPlayerTest, AfterItWasOvertakenItGoesOnWithSuchAFrame) {
    record(0, 60, 20);
    auto late = player();
    EXPECT_EQ(next(late), "0");
    // Goes over all of these: the oldest frame then is one of the middle of a group.
    record(61, 195, 20);
    std::vector<std::string> played;
    while (played.empty() || played.back() != "overtaken") {
        played.push_back(next(late));
        ASSERT_LT(played.size(), 100U) << "never overtaken";
    }
    EXPECT_EQ(next(late), "120");
    EXPECT_EQ(next(late), "121");
}

TEST_F(TrackPlayerTest, AStreamOfWhichAnyFrameCanBeDecodedGoesOnWithTheOldest) {
    record(0, 60, 1);
    auto late = player();
    EXPECT_EQ(next(late), "0");
    record(61, 195, 1);
    while (next(late) != "overtaken") {
    }
    const auto oldest = std::stoi(next(late));
    EXPECT_LT(oldest, 110);
    EXPECT_EQ(next(late), std::to_string(oldest + 1));
}

TEST_F(TrackPlayerTest, AStreamWithoutCapsIsPlayedToo) {
    record(0, 3, 1, "");
    auto all = player(TrackPlayer::AtEnd::Stop);
    std::vector<std::string> played;
    while (played.empty() || played.back() != "end") {
        played.push_back(next(all));
    }
    EXPECT_THAT(played, ElementsAre("0", "1", "2", "3", "end"));
}

TEST_F(TrackPlayerTest, WithoutSuchAFrameItEndsWhereTheTrackDid) {
    record(1, 5, 0);
    auto all = player(TrackPlayer::AtEnd::Stop);
    EXPECT_EQ(next(all), "end");
}

}  // namespace
}  // namespace tarn::peers::storage_elements
