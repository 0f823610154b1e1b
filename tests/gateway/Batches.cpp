#include "tests/gateway/Batches.h"

namespace tarn::test {

using proto::monitoring::DeviceNode;
using proto::monitoring::GlobalStatus;
using proto::monitoring::NamedStatus;
using proto::service_event::ServiceEvent;
using proto::service_event::ServiceEventDeviceAdded;

namespace {

void describe(DeviceNode& node, const std::string& id) {
    node.set_id(id);
    node.set_name("device " + id);
    node.set_device_class(DeviceNode::CAPTURE);
    node.mutable_global_status()->set_level(GlobalStatus::WARNING);
    node.mutable_global_status()->set_description("too hot");
    auto& property = *node.add_properties();
    property.set_name("serial");
    property.set_value(id);
    auto& status = *node.add_statuses();
    status.set_name("temperature");
    status.set_type(NamedStatus::DOUBLE);
    status.set_double_value(81.5);
    auto& count = *node.add_statuses();
    count.set_name("errors");
    count.set_type(NamedStatus::SIGNED);
    count.set_signed_value(-1);
}

}  // namespace

ServiceEventBatch treeOnly(const std::string& id) {
    ServiceEventBatch batch;
    batch.mutable_device_tree()->set_id("System");
    batch.mutable_device_tree()->add_sub_devices()->set_id(id);
    return batch;
}

ServiceEventBatch deviceAdded(const std::string& id) {
    auto batch = treeOnly(id);
    auto& event = *batch.add_events();
    event.set_type(ServiceEvent::DEVICE_ADDED);
    auto& added = *event.MutableExtension(ServiceEventDeviceAdded::base);
    added.set_device_id(id);
    added.set_device_class(DeviceNode::CAPTURE);
    return batch;
}

ServiceEventBatch fullTree(int devices) {
    auto batch = deviceAdded("0");
    auto& root = *batch.mutable_device_tree();
    root.clear_sub_devices();
    describe(root, "System");
    for (int i = 0; i < devices; ++i) {
        auto& device = *root.add_sub_devices();
        describe(device, std::to_string(i));
        describe(*device.add_sub_devices(), "below " + std::to_string(i));
    }
    return batch;
}

std::string firstDevice(const ServiceEventBatch& batch) {
    const auto& root = batch.device_tree();
    return root.sub_devices_size() > 0 ? root.sub_devices(0).id() : "";
}

}  // namespace tarn::test
