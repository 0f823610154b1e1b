#include "tests/peers/device/FakeChannel.h"

#include <stdexcept>
#include <utility>

namespace tarn::test {

using namespace tarn::device_tree;
using namespace tarn::proto::monitoring;

void FakeChannel::send(const Event& event) {
    if (state == State::Broken) {
        throw std::runtime_error("the queue is full");
    }
    sent.push_back(event);
}

std::vector<FakeChannel::Event> FakeChannel::takeSent() {
    return std::exchange(sent, {});
}

NodePointer makeNode(std::int64_t value) {
    auto node = std::make_shared<tarn::device_tree::DeviceNode>("box", "Box", DeviceClass::Generic);
    node->addStatus(tarn::device_tree::NamedStatus("Value", value));
    return node;
}

NodePointer makeNodeWithPart(std::int64_t value) {
    auto node = makeNode(value);
    std::string error;
    node->addSubDevice(
        std::make_shared<tarn::device_tree::DeviceNode>("box.part", "Part", DeviceClass::Generic),
        /*replace=*/false, error);
    return node;
}

void apply(const FakeChannel::Event& event, tarn::device_tree::DeviceNode& node) {
    if (event.type() == DeviceToTarnServiceEvent::CONFIGURATION_CHANGE) {
        node = tarn::device_tree::DeviceNode(
            event.GetExtension(ConfigurationChangeEvent::base).device());
        return;
    }
    const auto& changes = event.GetExtension(StatusChangeEvent::base);
    for (const auto& change : changes.global_status_changes()) {
        node.updateGlobalStatus(change.device_id(),
                                tarn::device_tree::GlobalStatus(change.status()));
    }
    for (const auto& change : changes.named_status_changes()) {
        node.updateStatusValue(change.device_id(), tarn::device_tree::NamedStatus(change.status()));
    }
}

}  // namespace tarn::test
