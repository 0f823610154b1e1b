#include "service/devices/RefusedDevices.h"

#include <gtest/gtest.h>

#include <string>

namespace tarn::service::devices {

using std::chrono::milliseconds;
using std::chrono::seconds;

class RefusedDevicesTest : public testing::Test {
  protected:
    using Before = RefusedDevices::Before;

    RefusedDevices::Time now{seconds(1000)};
    RefusedDevices refused{[this] { return now; }};
};

TEST_F(RefusedDevicesTest, KnowsWhoWasRefusedBefore) {
    EXPECT_TRUE(refused.isEmpty());
    EXPECT_EQ(refused.add("cam1"), Before::Welcome);
    EXPECT_EQ(refused.add("cam1"), Before::Refused);
    EXPECT_TRUE(refused.contains("cam1"));
    EXPECT_FALSE(refused.contains("cam2"));
    EXPECT_FALSE(refused.isEmpty());
    refused.remove("cam1");
    EXPECT_TRUE(refused.isEmpty());
    EXPECT_EQ(refused.add("cam1"), Before::Welcome);
}

TEST_F(RefusedDevicesTest, LetsADeviceBeSeenInErrorBeforeItIsAskedAnew) {
    EXPECT_FALSE(refused.isDue("cam1"));
    refused.add("cam1");
    now += seconds(2);
    refused.add("cam1");  // counts from the first time
    EXPECT_FALSE(refused.isDue("cam1"));
    now += milliseconds(999);
    EXPECT_FALSE(refused.isDue("cam1"));
    now += milliseconds(1);
    EXPECT_TRUE(refused.isDue("cam1"));
    refused.remove("cam1");
    EXPECT_FALSE(refused.isDue("cam1"));
}

TEST_F(RefusedDevicesTest, HasALineForEachDeviceOnceAMinute) {
    EXPECT_TRUE(refused.takeLine("cam1"));
    EXPECT_TRUE(refused.takeLine("cam2"));
    now += seconds(59);
    EXPECT_FALSE(refused.takeLine("cam1"));
    now += seconds(1);
    EXPECT_TRUE(refused.takeLine("cam1"));
    EXPECT_FALSE(refused.takeLine("cam1"));
}

TEST_F(RefusedDevicesTest, RemembersTheLinesOfAThousandDevicesAndThenBeginsAnew) {
    for (int n = 0; n < 1000; ++n) {
        EXPECT_TRUE(refused.takeLine(std::to_string(n)));
    }
    EXPECT_FALSE(refused.takeLine("0"));
    EXPECT_TRUE(refused.takeLine("one more"));
    EXPECT_TRUE(refused.takeLine("0"));
    EXPECT_FALSE(refused.takeLine("one more"));
}

}  // namespace tarn::service::devices
