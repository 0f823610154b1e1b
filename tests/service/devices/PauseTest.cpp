#include "service/devices/Pause.h"

#include <gtest/gtest.h>

#include <thread>

namespace tarn::service::devices {

using std::chrono::steady_clock;

TEST(RealPauseTest, LastsAsLongAsItIsToldTo) {
    const std::stop_token never;
    const auto begin = steady_clock::now();
    realPause(std::chrono::milliseconds(50), never);
    EXPECT_GE(steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST(RealPauseTest, EndsAtOnceWhenAskedToStop) {
    const auto begin = steady_clock::now();
    std::jthread pausing([](const std::stop_token& stop) {
        realPause(std::chrono::hours(1), stop);
        realPause(std::chrono::hours(1), stop);
    });
    pausing.request_stop();
    pausing.join();
    EXPECT_LT(steady_clock::now() - begin, std::chrono::minutes(1));
}

}  // namespace tarn::service::devices
