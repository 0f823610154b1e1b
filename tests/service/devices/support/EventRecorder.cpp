#include "tests/service/devices/support/EventRecorder.h"

#include <stdexcept>

#include "service/devices/DeviceEventListener.h"

namespace tarn::test {

using proto::monitoring::DeviceToTarnServiceEvent;

EventRecorder::EventRecorder() : SocketListener(socket::Protocol::Pull, "EventRecorder") {
    listenEndpoints().push_back(service::devices::DeviceEventListener::GetInternalEventEndpoint());
    std::string error;
    if (!start(error)) {
        throw std::runtime_error(error);
    }
}

EventRecorder::~EventRecorder() {
    std::string error;
    SocketListener::stop(error);
}

std::vector<DeviceToTarnServiceEvent> EventRecorder::waitFor(std::size_t count) {
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, std::chrono::seconds(20), [&] { return events.size() >= count; })) {
        throw std::runtime_error("only " + std::to_string(events.size()) + " events came");
    }
    return events;
}

std::shared_ptr<google::protobuf::Message> EventRecorder::getBaseMessage() {
    return std::make_shared<DeviceToTarnServiceEvent>();
}

void EventRecorder::handleMessage(std::shared_ptr<google::protobuf::Message> message,
                                  std::shared_ptr<socket::Socket>) {
    const std::lock_guard lock(mutex);
    events.push_back(dynamic_cast<const DeviceToTarnServiceEvent&>(*message));
    changed.notify_all();
}

}  // namespace tarn::test
