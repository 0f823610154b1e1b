#include "tests/cli/FakeGateway.h"

#include <poll.h>

#include <utility>

#include "platform/tree_updates/UpdateTopic.h"

namespace tarn::test {

using namespace proto::service_event;
using proto::monitoring::DeviceNode;
using proto::monitoring::GlobalStatus;
using proto::monitoring::NamedStatus;
using Announcement = socket::CatchUpPublisher::Announcement;

namespace {

using proto::service_event::TreeUpdate;

// What has a batch, and is no catch-up.
std::string beginning() {
    return tree_updates::updateTopic() + "\x1a";
}

std::string serialised(FakeGateway::Batch batch, const std::string& instance) {
    batch.set_gateway_instance(instance);
    TreeUpdate update;
    if (batch.has_device_tree()) {
        *update.mutable_device_tree() = batch.device_tree();
        batch.clear_device_tree();
    }
    *update.add_batch() = std::move(batch);
    return update.SerializeAsString();
}

std::string addressOf(std::uint64_t newcomer) {
    TreeUpdate address;
    address.set_newcomer(newcomer);
    return tree_updates::updateTopic() + address.SerializeAsString();
}

}  // namespace

FakeGateway::FakeGateway(const std::string& endpoint)
    : address(endpoint),
      publisher("fake gateway",
                {.everybody = beginning(),
                 .filler = beginning() + '\0',
                 .topic = tree_updates::updateTopic()},
                100) {
    publisher.listen(socket::SocketEndpoint::FromString(address));
    thread = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

FakeGateway::~FakeGateway() {
    thread.request_stop();
    thread.join();
}

void FakeGateway::publishes(const Batch& batch) {
    auto locked = state.lock();
    if (locked->script.empty() && batch.sequence() > 0) {
        locked->catchUp.set_sequence(batch.sequence() - 1);
    }
    locked->script.push_back(tree_updates::updateTopic() + serialised(batch, locked->instance));
}

void FakeGateway::catchesUpWith(const DeviceNode& tree) {
    *state.lock()->catchUp.mutable_device_tree() = tree;
}

void FakeGateway::publishesRemoval(std::uint64_t sequence, const std::string& id) {
    TreeUpdate update;
    update.mutable_difference()->add_removed(id);
    auto locked = state.lock();
    locked->script.push_back(tree_updates::updateTopic() +
                             serialised(numbered(sequence), locked->instance) +
                             update.SerializeAsString());
}

void FakeGateway::publishesGarbage() {
    state.lock()->script.push_back(beginning() + "\xff");
}

void FakeGateway::changesInstance() {
    state.lock()->instance = "second instance";
}

std::uint64_t FakeGateway::newcomers() {
    return state.lock()->newcomers;
}

void FakeGateway::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        serve(*state.lock());
        pollfd announcement{.fd = publisher.descriptor(), .events = POLLIN, .revents = 0};
        ::poll(&announcement, 1, 10);
    }
}

void FakeGateway::serve(State& current) {
    for (; current.sent < current.script.size(); ++current.sent) {
        publisher.publish(current.script[current.sent], "");
    }
    for (auto next = publisher.nextAnnouncement(); next != Announcement::None;
         next = publisher.nextAnnouncement()) {
        if (next == Announcement::Came) {
            current.catchUp.set_catch_up(true);
            const auto address = addressOf(++current.newcomers);
            publisher.admit(address);
            publisher.welcome(address, serialised(current.catchUp, "first instance"));
            current.sent = 0;
        }
    }
    for (; current.sent < current.script.size(); ++current.sent) {
        publisher.publish(current.script[current.sent], "");
    }
}

FakeGateway::Batch numbered(std::uint64_t sequence) {
    FakeGateway::Batch batch;
    batch.set_sequence(sequence);
    return batch;
}

FakeGateway::Batch withTree(FakeGateway::Batch batch, const DeviceNode& tree) {
    *batch.mutable_device_tree() = tree;
    return batch;
}

FakeGateway::Batch withAdded(FakeGateway::Batch batch, const std::string& id) {
    auto& event = *batch.add_events();
    event.set_type(ServiceEvent::DEVICE_ADDED);
    auto& content = *event.MutableExtension(ServiceEventDeviceAdded::base);
    content.set_device_id(id);
    content.set_device_class(DeviceNode::HOST);
    return batch;
}

FakeGateway::Batch withRemoved(FakeGateway::Batch batch, const std::string& id) {
    auto& event = *batch.add_events();
    event.set_type(ServiceEvent::DEVICE_REMOVED);
    event.MutableExtension(ServiceEventDeviceRemoved::base)->set_device_id(id);
    return batch;
}

FakeGateway::Batch withChanged(FakeGateway::Batch batch, const std::string& id) {
    auto& event = *batch.add_events();
    event.set_type(ServiceEvent::DEVICE_CHANGED);
    event.MutableExtension(ServiceEventDeviceChanged::base)->set_device_id(id);
    return batch;
}

DeviceNode treeOf(const std::string& hostId, const std::string& description) {
    DeviceNode root;
    root.set_id("System");
    root.set_name("System");
    root.set_device_class(DeviceNode::SYSTEM);
    DeviceNode& host = *root.add_sub_devices();
    host.set_id(hostId);
    host.set_name("Studio 1");
    host.set_device_class(DeviceNode::HOST);
    host.mutable_global_status()->set_level(GlobalStatus::WARNING);
    host.mutable_global_status()->set_description(description);
    DeviceNode& processor = *host.add_sub_devices();
    processor.set_id("cpu0");
    processor.mutable_global_status()->set_level(GlobalStatus::OK);
    NamedStatus& load = *processor.add_statuses();
    load.set_name("Load");
    load.set_type(NamedStatus::DOUBLE);
    load.set_double_value(12.5);
    auto& property = *processor.add_properties();
    property.set_name("Serial");
    property.set_value("A-1");
    return root;
}

}  // namespace tarn::test
