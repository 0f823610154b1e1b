#include "service/devices/DeviceDoor.h"

#include <gtest/gtest.h>

#include "platform/device_tree/DeviceLimits.h"
#include "proto/monitoring.pb.h"

namespace tarn::service::devices {

using tarn::proto::monitoring::DeviceAddEvent;
using tarn::proto::monitoring::DeviceToTarnServiceEvent;
using tarn::proto::monitoring::DeviceToTarnServiceReply;
using tarn::proto::monitoring::GetDescriptionReply;

namespace {

constexpr std::size_t enough = 1U << 20U;

// Nothing but its levels: no message that deep is smaller.
void nest(tarn::proto::monitoring::DeviceNode& device, unsigned levels) {
    auto* deepest = &device;
    for (unsigned level = 1; level < levels; ++level) {
        deepest = deepest->add_sub_devices();
    }
}

std::string replyOf(unsigned levels) {
    DeviceToTarnServiceReply reply;
    nest(*reply.MutableExtension(GetDescriptionReply::base)->mutable_device(), levels);
    return reply.SerializeAsString();
}

std::string eventOf(unsigned levels) {
    DeviceToTarnServiceEvent event;
    nest(*event.MutableExtension(DeviceAddEvent::base)->mutable_device(), levels);
    return event.SerializeAsString();
}

}  // namespace

TEST(DeviceDoorTest, TheSmallestReplyThatIsTooDeepIsRefused) {
    EXPECT_FALSE(refusalOfReply(replyOf(device_tree::mostLevels), enough));
    const auto refusal = refusalOfReply(replyOf(device_tree::mostLevels + 1), enough);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->reason, device_tree::tooDeep());
}

TEST(DeviceDoorTest, TheSmallestEventThatIsTooDeepIsRefused) {
    EXPECT_FALSE(refusalOfEvent(eventOf(device_tree::mostLevels)));
    const auto refusal = refusalOfEvent(eventOf(device_tree::mostLevels + 1));
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->reason, device_tree::tooDeep());
}

// A device of one level is far from too deep, but may be told to be too large.
TEST(DeviceDoorTest, ASmallReplyThatIsLargerThanAllowedIsRefused) {
    const auto reply = replyOf(2);
    EXPECT_FALSE(refusalOfReply(reply, reply.size()));
    EXPECT_TRUE(refusalOfReply(reply, reply.size() - 1));
}

}  // namespace tarn::service::devices
