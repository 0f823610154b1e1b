#include "gateway/relay/UpdatePace.h"

#include <gtest/gtest.h>

namespace tarn::gateway {

using namespace std::chrono_literals;

TEST(UpdatePaceTest, WhatComesAfterAWhileGoesOutAtOnce) {
    const UpdatePace::TimePoint start{1h};
    UpdatePace pace(50ms);
    EXPECT_EQ(pace.remaining(start), 0ms);
    pace.published(start);
    EXPECT_EQ(pace.remaining(start + 50ms), 0ms);
    EXPECT_EQ(pace.remaining(start + 1h), 0ms);
}

TEST(UpdatePaceTest, WhatComesSoonAfterTheLastOneWaitsForOthers) {
    const UpdatePace::TimePoint start{1h};
    UpdatePace pace(50ms);
    pace.published(start);
    EXPECT_EQ(pace.remaining(start + 1us), 50ms);
    EXPECT_EQ(pace.remaining(start + 20ms), 30ms);
}

}  // namespace tarn::gateway
