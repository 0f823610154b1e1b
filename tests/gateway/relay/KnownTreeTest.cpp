#include "gateway/relay/KnownTree.h"

#include <gtest/gtest.h>

#include <string>

#include "proto/monitoring.pb.h"

namespace tarn::gateway {

namespace {

std::string deviceOf(int number) {
    proto::monitoring::DeviceNode device;
    device.set_id("device" + std::to_string(number));
    return device.SerializeAsString();
}

class KnownTreeTest : public testing::Test {
  protected:
    KnownTreeTest() {
        node.set_device_class(proto::monitoring::DeviceNode::HOST);
        for (int i = 0; i < 10; ++i) {
            node.add_sub_devices()->ParseFromString(deviceOf(i));
        }
        bytes = node.SerializeAsString();
    }

    proto::monitoring::DeviceNode node;
    std::string bytes;
};

}  // namespace

TEST_F(KnownTreeTest, RecognisesAllInOrder) {
    KnownTree known(bytes);
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(known.recognises(deviceOf(i))) << i;
    }
    EXPECT_FALSE(known.recognises(deviceOf(10)));
}

TEST_F(KnownTreeTest, GoesOnBehindANewAGoneAndAReplacedOne) {
    KnownTree known(bytes);
    EXPECT_FALSE(known.recognises("new"));
    EXPECT_TRUE(known.recognises(deviceOf(0)));
    EXPECT_TRUE(known.recognises(deviceOf(2)));
    EXPECT_FALSE(known.recognises("in place of 3"));
    EXPECT_EQ(known.replaced(), deviceOf(3));
    EXPECT_TRUE(known.recognises(deviceOf(4)));
}

TEST_F(KnownTreeTest, FindsItsWayAfterManyReplacedOnes) {
    KnownTree known(bytes);
    for (int i = 0; i < 8; ++i) {
        EXPECT_FALSE(known.recognises("other")) << i;
    }
    EXPECT_TRUE(known.recognises(deviceOf(8)));
}

TEST_F(KnownTreeTest, DoesNotTakeALongerOrAShorterOneForTheSame) {
    KnownTree known(bytes);
    EXPECT_FALSE(known.recognises(deviceOf(0) + "x"));
    EXPECT_FALSE(known.recognises(deviceOf(1).substr(1)));
}

TEST_F(KnownTreeTest, KnowsNothingOfNothing) {
    KnownTree known("");
    EXPECT_FALSE(known.recognises(""));
    EXPECT_EQ(known.replaced(), "");
}

}  // namespace tarn::gateway
