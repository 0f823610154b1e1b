#include "tests/chaos/observation/DeviceObservation.h"

#include <algorithm>
#include <stdexcept>

#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/monitoring.pb.h"
#include "proto/service_event.pb.h"
#include "tests/chaos/machine/Machine.h"
#include "tests/system/devices/GatewayFollower.h"
#include "tests/system/harness/Api.h"

namespace tarn::chaos {

namespace {

using proto::monitoring::DeviceNode;
using proto::service_event::ServiceEventBatch;

constexpr std::uint32_t largestMessage = 64U << 20U;
constexpr std::uint32_t connectMs = 2000;
constexpr std::uint32_t longestWaitMs = 5000;
constexpr auto trackName = "LoopStorageTrack";

std::string propertyOf(const DeviceNode& node, const std::string& name) {
    for (const auto& property : node.properties()) {
        if (property.name() == name) {
            return property.value();
        }
    }
    throw std::runtime_error(node.id() + " has no property " + name);
}

const proto::monitoring::NamedStatus& statusOf(const DeviceNode& node, const std::string& name) {
    for (const auto& status : node.statuses()) {
        if (status.name() == name) {
            return status;
        }
    }
    throw std::runtime_error(node.id() + " has no status " + name);
}

std::set<std::string> namesIn(const std::string& list) {
    std::set<std::string> names;
    for (std::size_t begin = 0; begin < list.size();) {
        const auto end = std::min(list.find(',', begin), list.size());
        names.insert(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return names;
}

Track trackOf(const DeviceNode& node) {
    return {.size = std::stoll(propertyOf(node, "Size")),
            .beginning = statusOf(node, "StartTimepoint").signed_value(),
            .end = statusOf(node, "EndTimepoint").signed_value(),
            .readers = statusOf(node, "NumReaders").unsigned_value(),
            .writers = statusOf(node, "NumWriters").unsigned_value(),
            .readerNames = namesIn(statusOf(node, "ReadersList").text_value()),
            .writerNames = namesIn(statusOf(node, "WritersList").text_value())};
}

// Two nodes of one id cannot be: the second is named so that it is seen.
void add(const DeviceNode& node, Devices& devices) {
    if (node.name() == trackName) {
        devices.tracks[std::stoll(propertyOf(node, "TrackId"))] = trackOf(node);
        return;
    }
    if (!devices.nodes.insert(node.id()).second) {
        devices.nodes.insert("a second " + node.id());
    }
    for (const auto& part : node.sub_devices()) {
        add(part, devices);
    }
}

void addDevice(const DeviceNode& device, Devices& devices) {
    add(device, devices);
    if (device.global_status().level() == proto::monitoring::GlobalStatus::ERROR) {
        devices.inError.insert(device.id());
    }
}

Devices devicesUnder(const DeviceNode& root) {
    Devices devices;
    for (const auto& device : root.sub_devices()) {
        addDevice(device, devices);
    }
    return devices;
}

std::optional<DeviceNode> describedBy(const std::string& endpoint) {
    using namespace proto::monitoring;
    try {
        socket::Socket device("Chaos asks a device", socket::ClosePolicy::Discard);
        device.createAndConnect(socket::Protocol::Request,
                                socket::SocketEndpoint::FromString(endpoint), connectMs);
        TarnServiceToDeviceRequest request;
        request.set_type(TarnServiceToDeviceRequest::GET_DESCRIPTION);
        device.sendProtoBuf(&request);
        DeviceToTarnServiceReply reply;
        device.receiveProtoBuf(&reply, largestMessage);
        return reply.GetExtension(GetDescriptionReply::base).device();
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

// What a newcomer gets first.
std::optional<ServiceEventBatch> catchUp(const Places& places) {
    socket::Socket subscriber("Chaos follows", socket::ClosePolicy::Discard);
    subscriber.createAndConnect(socket::Protocol::Subscribe,
                                socket::SocketEndpoint::FromString(places.published), 0);
    std::string error;
    if (subscriber.poll(longestWaitMs, error) != 0) {
        return std::nullopt;
    }
    ServiceEventBatch batch;
    subscriber.receiveProtoBuf(&batch, largestMessage);
    return batch.catch_up() ? std::optional(batch) : std::nullopt;
}

std::optional<DeviceNode> servedTree(const Places& places,
                                     std::chrono::milliseconds bound = test::Api::patience) {
    using namespace proto::api_service;
    const auto reply =
        test::Api(places.requests)
            .ask(test::requestOfType(ApiToServiceRequest::GET_MONITORING_INFO), bound);
    if (!reply || !reply->success()) {
        return std::nullopt;
    }
    return reply->GetExtension(ServiceToApiReplyGetMonitoringInfo::base).device_tree();
}

std::string storageId(const Places& places) {
    return places.transport == Transport::Tcp ? "Storage-tcp-" + places.storageListener()
                                              : "Storage-unix-" + places.storageListener();
}

}  // namespace

std::optional<Devices> realDevices(const Machine& machine) {
    const auto& places = machine.places();
    const auto host = describedBy(places.monitor);
    const auto large = describedBy(places.largeDevice);
    auto tracks = machine.storage().tracks();
    if (!host || !large || !tracks) {
        return std::nullopt;
    }
    Devices devices;
    if (!places.ingest.empty()) {
        const auto ingest = describedBy(places.ingest);
        if (!ingest) {
            return std::nullopt;
        }
        addDevice(*ingest, devices);
    }
    addDevice(*host, devices);
    machine.oddDevice().addTo(devices);
    devices.nodes.insert(storageId(places));
    add(*large, devices);
    devices.tracks = std::move(*tracks);
    return devices;
}

std::optional<Devices> toldDevices(const Places& places) {
    const auto tree = servedTree(places);
    return tree ? std::optional(devicesUnder(*tree)) : std::nullopt;
}

std::optional<DescribedDevices> servedDescriptions(const Places& places) {
    constexpr std::chrono::seconds soon{1};
    const auto tree = servedTree(places, soon);
    return tree ? std::optional(test::devicesUnder(*tree)) : std::nullopt;
}

bool gatewayIsThere(const Places& places) {
    return catchUp(places).has_value();
}

std::optional<Devices> publishedDevices(const Places& places) {
    const auto batch = catchUp(places);
    return batch && batch->has_device_tree() ? std::optional(devicesUnder(batch->device_tree()))
                                             : std::nullopt;
}

}  // namespace tarn::chaos
