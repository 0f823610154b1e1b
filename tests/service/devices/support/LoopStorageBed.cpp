#include "tests/service/devices/support/LoopStorageBed.h"

#include "platform/device_tree/StatusValue.h"

namespace tarn::test {

using device_tree::DeviceNode;

void LoopStorageBed::watch() {
    controller = std::make_unique<Controller>(path, dependencies());
    pause.await();
}

DeviceNode LoopStorageBed::added(std::size_t number) {
    EXPECT_EQ(event(number).type(), Event::DEVICE_ADD);
    return DeviceNode(event(number).GetExtension(proto::monitoring::DeviceAddEvent::base).device());
}

DeviceNode LoopStorageBed::changed(std::size_t number) {
    EXPECT_EQ(event(number).type(), Event::CONFIGURATION_CHANGE);
    return DeviceNode(
        event(number).GetExtension(proto::monitoring::ConfigurationChangeEvent::base).device());
}

std::string LoopStorageBed::line(const std::string& level, const std::string& text) {
    return level + " LoopStorageDeviceController on " + path + " > " + text;
}

std::string statusOf(const DeviceNode& node, const std::string& name) {
    const auto* const status = node.getStatus(name);
    return status ? device_tree::textOf(status->getValue()) : "absent";
}

std::string propertyOf(const DeviceNode& node, const std::string& name) {
    const auto* const property = node.getProperty(name);
    return property ? property->value : "absent";
}

}  // namespace tarn::test
