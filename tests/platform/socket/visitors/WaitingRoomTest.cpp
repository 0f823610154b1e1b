#include "platform/socket/visitors/WaitingRoom.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <fcntl.h>

namespace tarn::socket {

namespace {

using namespace std::chrono_literals;

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

class WaitingRoomTest : public testing::Test {
  protected:
    /// The descriptor's number.
    int take() {
        os::FileDescriptor one(::eventfd(0, EFD_CLOEXEC));
        const int number = one.get();
        room.take(std::move(one));
        return number;
    }

    WaitingRoom::Clock::time_point now{1h};
    WaitingRoom room{[this] { return now; }};
};

}  // namespace

TEST_F(WaitingRoomTest, HasNobodyInItAtFirst) {
    EXPECT_EQ(room.closeThoseWhoWaited(), std::nullopt);
}

TEST_F(WaitingRoomTest, ClosesEachAfterItsTime) {
    const int first = take();
    now += 600ms;
    const int second = take();
    EXPECT_EQ(room.closeThoseWhoWaited(), now + 400ms);
    EXPECT_TRUE(isOpen(first));
    now += 400ms;
    EXPECT_EQ(room.closeThoseWhoWaited(), now + 600ms);
    EXPECT_FALSE(isOpen(first));
    EXPECT_TRUE(isOpen(second));
    now += 600ms;
    EXPECT_EQ(room.closeThoseWhoWaited(), std::nullopt);
    EXPECT_FALSE(isOpen(second));
}

TEST_F(WaitingRoomTest, ThatIsFullClosesAtOnce) {
    for (std::size_t i = 0; i < WaitingRoom::places; ++i) {
        EXPECT_TRUE(isOpen(take()));
    }
    EXPECT_FALSE(isOpen(take()));
    now += WaitingRoom::wait;
    EXPECT_TRUE(isOpen(take())) << "the others have left";
}

}  // namespace tarn::socket
