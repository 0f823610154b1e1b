#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "proto/monitoring.fwd.h"
#include "proto/service_event.fwd.h"

namespace tarn::cli {

/// "added    studio-1 (host)"; not escaped.
std::string eventText(const proto::service_event::ServiceEvent& event);

/// A batch as one line of JSON is made of it: the gateway's fields and the service's number, `lost`
/// where batches in front of it have not come, its events, and this part of its tree unless it is
/// null.
nlohmann::ordered_json batchDocument(const proto::service_event::ServiceEventBatch& batch,
                                     std::uint64_t lost,
                                     const std::vector<proto::service_event::ServiceEvent>& events,
                                     const proto::monitoring::DeviceNode* tree);

/// Each as protobuf's own mapping has it, with its content.
nlohmann::ordered_json eventsDocument(
    const std::vector<proto::service_event::ServiceEvent>& events);

}  // namespace tarn::cli
