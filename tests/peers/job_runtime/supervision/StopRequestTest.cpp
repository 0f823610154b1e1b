#include "peers/job_runtime/supervision/StopRequest.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>

namespace tarn::peers {
namespace {

using Wish = StopRequest::Wish;

bool isReadable(int descriptor) {
    pollfd input{.fd = descriptor, .events = POLLIN, .revents = 0};
    return ::poll(&input, 1, 0) == 1;
}

TEST(StopRequestTest, WishesNothingAtFirst) {
    StopRequest stop;
    EXPECT_EQ(stop.take(), Wish::None);
    EXPECT_FALSE(isReadable(stop.descriptor()));
}

TEST(StopRequestTest, AWishWakesTheOneWhoWaitsOnce) {
    StopRequest stop;
    stop.request(Wish::EndNow);
    EXPECT_TRUE(isReadable(stop.descriptor()));
    EXPECT_EQ(stop.take(), Wish::EndNow);
    EXPECT_FALSE(isReadable(stop.descriptor()));
}

TEST(StopRequestTest, AWeakerWishDoesNotUndoAStrongerOne) {
    StopRequest stop;
    stop.request(Wish::EndForGood);
    stop.request(Wish::EndNow);
    EXPECT_EQ(stop.take(), Wish::EndForGood);
}

TEST(StopRequestTest, AStrongerWishReplacesAWeakerOne) {
    StopRequest stop;
    stop.request(Wish::EndNow);
    stop.request(Wish::EndForGood);
    EXPECT_EQ(stop.take(), Wish::EndForGood);
}

TEST(StopRequestTest, TheStopSignalsAreWishesAndEndNoProcess) {
    for (const int signal : {SIGTERM, SIGINT}) {
        StopRequest stop;
        ::raise(signal);
        EXPECT_TRUE(isReadable(stop.descriptor()));
        EXPECT_EQ(stop.take(), Wish::EndNow);
        EXPECT_FALSE(isReadable(stop.descriptor()));
    }
}

}  // namespace
}  // namespace tarn::peers
