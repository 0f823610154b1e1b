#include "cli/events/BatchText.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/output/DeviceWords.h"
#include "cli/output/Json.h"
#include "proto/service_event.pb.h"

namespace tarn::cli {

using nlohmann::ordered_json;
using namespace proto::service_event;

namespace {

template <typename Content>
std::string textOf(const char* what, const Content& content) {
    return fmt::format("{:<8} {} ({})", what, content.device_id(),
                       classText(content.device_class()));
}

}  // namespace

std::string eventText(const ServiceEvent& event) {
    switch (event.type()) {
        case ServiceEvent::DEVICE_ADDED:
            return textOf("added", event.GetExtension(ServiceEventDeviceAdded::base));
        case ServiceEvent::DEVICE_REMOVED:
            return textOf("removed", event.GetExtension(ServiceEventDeviceRemoved::base));
        case ServiceEvent::DEVICE_CHANGED:
            return textOf("changed", event.GetExtension(ServiceEventDeviceChanged::base));
        case ServiceEvent::UNKNOWN:
            break;
    }
    return "something that this program does not know";
}

ordered_json batchDocument(const ServiceEventBatch& batch, std::uint64_t lost,
                           const std::vector<ServiceEvent>& events,
                           const proto::monitoring::DeviceNode* tree) {
    ServiceEventBatch head;
    if (batch.has_catch_up()) {
        head.set_catch_up(batch.catch_up());
    }
    if (batch.has_sequence()) {
        head.set_sequence(batch.sequence());
        head.set_gateway_instance(batch.gateway_instance());
    }
    if (batch.has_service_sequence()) {
        head.set_service_sequence(batch.service_sequence());
        head.set_service_instance(batch.service_instance());
    }
    if (batch.has_asked_for()) {
        head.set_asked_for(batch.asked_for());
    }
    ordered_json document = toJson(head);
    if (lost > 0) {
        document["lost"] = std::to_string(lost);
    }
    document["events"] = eventsDocument(events);
    if (tree != nullptr) {
        document["device_tree"] = toJson(*tree);
    }
    return document;
}

ordered_json eventsDocument(const std::vector<ServiceEvent>& events) {
    ordered_json list = ordered_json::array();
    for (const ServiceEvent& event : events) {
        list.push_back(toJson(event));
    }
    return list;
}

}  // namespace tarn::cli
