#include "tests/system/devices/GatewayFollower.h"

#include <google/protobuf/util/json_util.h>

#include <chrono>
#include <stdexcept>

#include "platform/socket/Socket.h"
#include "proto/service_event.pb.h"
#include "tests/system/harness/Api.h"

namespace tarn::test {

namespace event = proto::service_event;

namespace {

constexpr std::uint32_t lookForStopMs = 50;
constexpr std::uint32_t largestBatch = 64U << 20U;
constexpr std::chrono::seconds patience{20};

std::set<std::string> idsOf(const Devices& devices) {
    std::set<std::string> ids;
    for (const auto& [id, content] : devices) {
        ids.insert(id);
    }
    return ids;
}

std::string joined(const std::set<std::string>& ids) {
    std::string text;
    for (const auto& id : ids) {
        text += (text.empty() ? "" : " ") + id;
    }
    return text;
}

}  // namespace

Devices devicesUnder(const proto::monitoring::DeviceNode& root) {
    Devices devices;
    for (const auto& device : root.sub_devices()) {
        std::string json;
        const auto status = google::protobuf::util::MessageToJsonString(device, &json);
        devices[device.id()] = status.ok() ? json : std::string(status.message());
    }
    return devices;
}

Devices devicesOfTheService(Api& api) {
    using proto::api_service::ServiceToApiReplyGetMonitoringInfo;
    const auto reply = api.ask(requestOfType(Api::Request::GET_MONITORING_INFO));
    if (!reply || !reply->success()) {
        throw std::runtime_error("the service does not tell its devices");
    }
    return devicesUnder(
        reply->GetExtension(ServiceToApiReplyGetMonitoringInfo::base).device_tree());
}

GatewayFollower::GatewayFollower(const std::string& endpoint)
    : endpoint(endpoint), thread([this](const std::stop_token& stop) { follow(stop); }) {}

Devices GatewayFollower::devices() const {
    const std::lock_guard lock(mutex);
    return last;
}

std::uint64_t GatewayFollower::batches() const {
    const std::lock_guard lock(mutex);
    return count;
}

bool GatewayFollower::waitForBatchAfter(std::uint64_t before) const {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, patience, [&] { return count > before; });
}

std::vector<std::string> GatewayFollower::problems() const {
    const std::lock_guard lock(mutex);
    return found;
}

void GatewayFollower::follow(const std::stop_token& stop) {
    socket::Socket socket("Follower", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Subscribe,
                            socket::SocketEndpoint::FromString(endpoint), 0);
    while (!stop.stop_requested()) {
        std::string error;
        if (socket.poll(lookForStopMs, error) == 0) {
            Batch batch;
            socket.receiveProtoBuf(&batch, largestBatch);
            take(batch);
        }
    }
}

void GatewayFollower::take(const Batch& batch) {
    if (!batch.catch_up() && batch.sequence() == 0) {
        return;  // a filler: another subscriber has become too slow
    }
    const std::lock_guard lock(mutex);
    checkNumber(batch);
    applyEvents(batch);
    if (batch.has_device_tree()) {
        last = devicesUnder(batch.device_tree());
        checkTree(batch);
    }
    sequenceOfService = batch.has_service_sequence() ? batch.service_sequence() : sequenceOfService;
    ++count;
    changed.notify_all();
}

void GatewayFollower::checkNumber(const Batch& batch) {
    if (batch.catch_up()) {
        instance = batch.gateway_instance();
    } else if (batch.gateway_instance() != instance || batch.sequence() != sequence + 1) {
        note("batch " + std::to_string(batch.sequence()) + " came after batch " +
             std::to_string(sequence));
    }
    sequence = batch.sequence();
}

void GatewayFollower::applyEvents(const Batch& batch) {
    for (const auto& item : batch.events()) {
        switch (item.type()) {
            case event::ServiceEvent::DEVICE_ADDED:
                expected.insert(
                    item.GetExtension(event::ServiceEventDeviceAdded::base).device_id());
                break;
            case event::ServiceEvent::DEVICE_CHANGED:
                expected.insert(
                    item.GetExtension(event::ServiceEventDeviceChanged::base).device_id());
                break;
            case event::ServiceEvent::DEVICE_REMOVED:
                expected.erase(
                    item.GetExtension(event::ServiceEventDeviceRemoved::base).device_id());
                break;
            default:
                note("an event of type " + std::to_string(item.type()));
        }
    }
}

void GatewayFollower::checkTree(const Batch& batch) {
    const auto ids = idsOf(last);
    // The events that lead to a tree that was asked for, or to one after a gap, need not have come.
    if (batch.catch_up() || batch.asked_for() || isAfterAGap(batch)) {
        expected = ids;
    } else if (ids != expected) {
        note("the tree of batch " + std::to_string(batch.sequence()) + " holds " + joined(ids) +
             ", its events lead to " + joined(expected));
        expected = ids;
    }
}

bool GatewayFollower::isAfterAGap(const Batch& batch) const {
    return batch.service_sequence() != sequenceOfService + 1;
}

void GatewayFollower::note(const std::string& problem) {
    found.push_back(problem);
}

}  // namespace tarn::test
