#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "platform/device_tree/DeviceNode.h"
#include "tests/service/api/ApiBed.h"

namespace tarn::service {

using device_tree::DeviceNode;
using tarn::proto::api_service::ApiToServiceRequest;
using tarn::proto::api_service::ServiceToApiReply;
using tarn::proto::api_service::ServiceToApiReplyGetMonitoringInfo;

namespace {

DeviceNode askTree(test::ApiBed& bed) {
    const auto reply = bed.ask(ApiToServiceRequest::GET_MONITORING_INFO);
    EXPECT_EQ(reply.type(), ServiceToApiReply::GET_MONITORING_INFO);
    EXPECT_TRUE(reply.success());
    EXPECT_FALSE(reply.has_error_message());
    return DeviceNode(reply.GetExtension(ServiceToApiReplyGetMonitoringInfo::base).device_tree());
}

/// A device of several nodes that all carry the same name.
DeviceNode named(const std::string& name) {
    DeviceNode node("cam", name, device_tree::DeviceClass::Capture);
    std::string error;
    for (int i = 0; i < 20; ++i) {
        node.addSubDevice(std::make_shared<DeviceNode>("input" + std::to_string(i), name,
                                                       device_tree::DeviceClass::Capture),
                          true, error);
    }
    return node;
}

}  // namespace

TEST(GetMonitoringInfoTest, GivesTheRootAloneWhenThereIsNoDevice) {
    test::ApiBed bed;
    bed.start();
    EXPECT_TRUE(askTree(bed) == DeviceNode("System", "System", device_tree::DeviceClass::System));
}

TEST(GetMonitoringInfoTest, GivesTheWholeTree) {
    test::ApiBed bed;
    bed.start();
    bed.devices.handleDeviceAddEvent(named("first"));
    const DeviceNode tree = *bed.devices.getTree().lock();
    EXPECT_EQ(tree.size(), 22U);
    EXPECT_TRUE(askTree(bed) == tree);
}

TEST(GetMonitoringInfoTest, IsTheReplyByteByByte) {
    test::ApiBed bed;
    bed.start();
    for (const auto* name : {"first", "second"}) {
        bed.devices.handleDeviceAddEvent(named(name));
        ServiceToApiReply expected;
        expected.set_type(ServiceToApiReply::GET_MONITORING_INFO);
        expected.set_success(true);
        const DeviceNode tree = *bed.devices.getTree().lock();
        tree.toProtoBuf(*expected.MutableExtension(ServiceToApiReplyGetMonitoringInfo::base)
                             ->mutable_device_tree());
        const auto reply = bed.ask(ApiToServiceRequest::GET_MONITORING_INFO);
        EXPECT_EQ(reply.SerializeAsString(), expected.SerializeAsString());
        EXPECT_EQ(reply.GetReflection()->GetUnknownFields(reply).field_count(), 0);
        EXPECT_TRUE(bed.log.waitFor("Sending " + expected.DebugString()));
    }
}

TEST(GetMonitoringInfoTest, GivesAConsistentTreeWhileDevicesChange) {
    test::ApiBed bed;
    bed.start();
    const std::jthread changing([&bed](const std::stop_token& stop) {
        for (int i = 0; !stop.stop_requested(); ++i) {
            bed.devices.handleConfigurationChangeEvent(named(std::to_string(i)));
        }
    });
    for (int i = 0; i < 50; ++i) {
        for (const auto& device : askTree(bed).getSubDevices()) {
            ASSERT_TRUE(device == named(device.getName()));
        }
    }
}

TEST(GetMonitoringInfoTest, WarnsWhenItTakesLong) {
    test::ApiBed bed;
    bed.start();
    bed.clockStep = std::chrono::seconds(6);
    askTree(bed);
    EXPECT_TRUE(bed.log.waitFor(
        "WARN Api requests handler > GetMonitoringInfo request  took longer than expected: 6ms"));
    EXPECT_TRUE(bed.log.waitFor(
        "WARN Api requests handler > GetMonitoringInfo reply  took longer than expected: 6ms"));
}

}  // namespace tarn::service
