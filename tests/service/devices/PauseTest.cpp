#include "service/devices/Pause.h"

#include <gtest/gtest.h>

#include <thread>

namespace tarn::service::devices {

using std::chrono::steady_clock;

TEST(RealPause, LastsAsLongAsItIsToldTo) {
    const std::stop_source never;
    const auto begin = steady_clock::now();
    realPause(std::chrono::milliseconds(50), never.get_token());
    EXPECT_GE(steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST(RealPause, EndsAtOnceWhenAskedToStop) {
    std::stop_source source;
    const auto begin = steady_clock::now();
    const std::jthread stopping([&source] { source.request_stop(); });
    realPause(std::chrono::hours(1), source.get_token());
    realPause(std::chrono::hours(1), source.get_token());
    EXPECT_LT(steady_clock::now() - begin, std::chrono::minutes(1));
}

}  // namespace tarn::service::devices
