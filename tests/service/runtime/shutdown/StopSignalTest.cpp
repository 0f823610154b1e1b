#include "service/runtime/shutdown/StopSignal.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <future>

namespace tarn::service {

using namespace std::chrono_literals;

TEST(StopSignalTest, SaysNothingWithoutASignal) {
    StopSignal stop;
    EXPECT_FALSE(stop.requested());
    EXPECT_FALSE(stop.waitFor(1ms));
}

TEST(StopSignalTest, CanStopWaiting) {
    StopSignal stop;
    auto waiting = std::async(std::launch::async, [&] { return stop.wait(); });
    stop.cancelWait();
    EXPECT_EQ(waiting.get(), 0);
}

TEST(StopSignalTest, EndsAWaitAtOnce) {
    StopSignal stop;
    EXPECT_FALSE(stop.waitFor(1ms));
    auto waiting = std::async(std::launch::async, [&] { return stop.waitFor(60s); });
    raise(SIGINT);
    EXPECT_TRUE(waiting.get());
}

}  // namespace tarn::service
