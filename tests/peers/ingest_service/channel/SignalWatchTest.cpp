#include "peers/ingest_service/channel/SignalWatch.h"

#include <gtest/gtest.h>

namespace tarn::peers::ingest_service {
namespace {

using namespace std::chrono_literals;
using State = SignalWatch::State;

class SignalWatchTest : public testing::Test {
  protected:
    void lockOn() {
        watch.opening(now);
        watch.frame(now);
    }

    SignalWatch watch{1s};
    SignalWatch::Time now{};
};

TEST_F(SignalWatchTest, HasNoDeviceAtFirstAndMissesNothing) {
    EXPECT_EQ(watch.state(), State::NoDevice);
    EXPECT_FALSE(watch.nextLook());
    watch.look(now + 1h);
    EXPECT_EQ(watch.state(), State::NoDevice);
    EXPECT_EQ(watch.losses(), 0U);
}

TEST_F(SignalWatchTest, WaitsForTheFirstFrameAsLongAsForAnyOther) {
    watch.opening(now);
    EXPECT_EQ(watch.state(), State::Waiting);
    watch.look(now + 999ms);
    EXPECT_EQ(watch.state(), State::Waiting);
    watch.look(now + 1s);
    EXPECT_EQ(watch.state(), State::Lost);
    EXPECT_EQ(watch.problem(), "no frame for 1000 ms");
}

TEST_F(SignalWatchTest, IsLockedWhileFramesCome) {
    lockOn();
    for (int frame = 0; frame < 10; ++frame) {
        now += 999ms;
        watch.look(now);
        EXPECT_EQ(watch.state(), State::Locked);
        watch.frame(now);
    }
    EXPECT_EQ(watch.nextLook(), now + 1s);
    EXPECT_EQ(watch.losses(), 0U);
}

TEST_F(SignalWatchTest, IsLostWhenNoFrameComesInTime) {
    lockOn();
    watch.look(now + 1s);
    EXPECT_EQ(watch.state(), State::Lost);
    EXPECT_EQ(watch.losses(), 1U);
    EXPECT_FALSE(watch.nextLook());
}

TEST_F(SignalWatchTest, IsLostAtOnceWhenTheDeviceFails) {
    lockOn();
    watch.failed("unplugged");
    EXPECT_EQ(watch.state(), State::Lost);
    EXPECT_EQ(watch.problem(), "unplugged");
}

TEST_F(SignalWatchTest, OneThatCannotBeOpenedIsLost) {
    watch.opening(now);
    watch.failed("busy");
    EXPECT_EQ(watch.state(), State::Lost);
    EXPECT_EQ(watch.problem(), "busy");
}

TEST_F(SignalWatchTest, TriesThatFailAreOneLoss) {
    lockOn();
    watch.look(now + 1s);
    watch.failed("gone");
    watch.opening(now + 2s);
    EXPECT_EQ(watch.state(), State::Lost) << "opening it brings no frame";
    watch.failed("still gone");
    EXPECT_EQ(watch.problem(), "still gone");
    EXPECT_EQ(watch.losses(), 1U);
}

TEST_F(SignalWatchTest, AFrameBringsItBack) {
    lockOn();
    watch.failed("gone");
    watch.frame(now + 10s);
    EXPECT_EQ(watch.state(), State::Locked);
    EXPECT_EQ(watch.problem(), "");
    watch.look(now + 11s);
    EXPECT_EQ(watch.losses(), 2U);
}

}  // namespace
}  // namespace tarn::peers::ingest_service
