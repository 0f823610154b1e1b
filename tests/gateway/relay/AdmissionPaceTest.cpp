#include "gateway/relay/AdmissionPace.h"

#include <gtest/gtest.h>

namespace tarn::gateway {

using namespace std::chrono_literals;

TEST(AdmissionPaceTest, TheFirstNeedNotWait) {
    const AdmissionPace pace(1000);
    EXPECT_EQ(pace.remaining(AdmissionPace::TimePoint(1s)), 0ms);
}

TEST(AdmissionPaceTest, AfterALargeMessageTheNextHaveToWait) {
    AdmissionPace pace(1000);
    const AdmissionPace::TimePoint begin(10s);
    pace.admitted(500, begin);
    EXPECT_EQ(pace.remaining(begin), 500ms);
    EXPECT_EQ(pace.remaining(begin + 499500us), 1ms);
    EXPECT_EQ(pace.remaining(begin + 500ms), 0ms);
    EXPECT_EQ(pace.remaining(begin + 1h), 0ms);
}

TEST(AdmissionPaceTest, TimeThatNobodyUsedIsNotSavedUp) {
    AdmissionPace pace(1000);
    pace.admitted(500, AdmissionPace::TimePoint(10s));
    pace.admitted(500, AdmissionPace::TimePoint(20s));
    EXPECT_EQ(pace.remaining(AdmissionPace::TimePoint(20s)), 500ms);
}

}  // namespace tarn::gateway
