#include "tests/service/support/BatchReceiver.h"

#include "tests/service/support/ServiceBed.h"

namespace tarn::test {

using proto::service_event::ServiceEvent;
using proto::service_event::ServiceEventBatch;
using proto::service_event::ServiceEventDeviceAdded;
using proto::service_event::ServiceEventDeviceChanged;
using proto::service_event::ServiceEventDeviceRemoved;

BatchReceiver::BatchReceiver() : BatchReceiver(uniqueEndpoint()) {}

BatchReceiver::BatchReceiver(const std::string& endpoint) : address(endpoint) {
    socket.createAndConnect(socket::Protocol::Pull, socket::SocketEndpoint::FromString(address), 0);
}

ServiceEventBatch BatchReceiver::next() {
    ServiceEventBatch batch;
    socket.receiveProtoBuf(&batch, 1 << 26);
    return batch;
}

ServiceEventBatch BatchReceiver::nextFilled() {
    while (true) {
        const auto batch = next();
        if (batch.has_device_tree() || batch.events_size() > 0) {
            return batch;
        }
    }
}

bool BatchReceiver::hasMore(std::chrono::milliseconds within) {
    std::string error;
    return socket.poll(static_cast<std::uint32_t>(within.count()), error) == 0;
}

std::string describe(const ServiceEvent& event) {
    const auto text = [&event](const auto& kind) {
        return std::to_string(event.type()) + " " + kind.device_id() + " class " +
               std::to_string(kind.device_class());
    };
    switch (event.type()) {
        case ServiceEvent::DEVICE_ADDED:
            return text(event.GetExtension(ServiceEventDeviceAdded::base));
        case ServiceEvent::DEVICE_REMOVED:
            return text(event.GetExtension(ServiceEventDeviceRemoved::base));
        case ServiceEvent::DEVICE_CHANGED:
            return text(event.GetExtension(ServiceEventDeviceChanged::base));
        default:
            return "unknown";
    }
}

std::vector<std::string> describeEvents(const ServiceEventBatch& batch) {
    std::vector<std::string> texts;
    for (const auto& event : batch.events()) {
        texts.push_back(describe(event));
    }
    return texts;
}

}  // namespace tarn::test
