#include "tests/peers/misbehaving_device/RandomDevice.h"

#include <gtest/gtest.h>

#include <set>

namespace tarn::test {
namespace {

std::vector<std::string> statesOf(std::uint32_t seed) {
    RandomDevice device("box", seed);
    std::vector<std::string> states;
    for (int i = 0; i < 200; ++i) {
        device.change();
        states.push_back(toJson(*device.state()));
    }
    return states;
}

TEST(RandomDeviceTest, IsTheSameForTheSameSeed) {
    EXPECT_EQ(statesOf(1), statesOf(1));
    EXPECT_NE(statesOf(1), statesOf(2));
}

TEST(RandomDeviceTest, IsRarelyTheSameTwice) {
    const auto states = statesOf(3);
    EXPECT_GT(std::set<std::string>(states.begin(), states.end()).size(), states.size() / 3);
}

TEST(RandomDeviceTest, PartsComeAndGo) {
    RandomDevice device("box", 4);
    std::set<std::size_t> sizes;
    for (int i = 0; i < 500; ++i) {
        device.change();
        sizes.insert(device.state()->size());
    }
    EXPECT_GT(sizes.size(), 3U);
}

}  // namespace
}  // namespace tarn::test
