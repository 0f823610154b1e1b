#include "cli/output/DeviceWords.h"

#include <fmt/format.h>

#include "proto/monitoring.pb.h"

namespace tarn::cli {

using proto::monitoring::DeviceNode;
using proto::monitoring::GlobalStatus;
using proto::monitoring::NamedStatus;

namespace {

std::string levelText(GlobalStatus::Level level) {
    switch (level) {
        case GlobalStatus::UNKNOWN:
            return "unknown";
        case GlobalStatus::OK:
            return "ok";
        case GlobalStatus::WARNING:
            return "warning";
        case GlobalStatus::ERROR:
            return "error";
    }
    return "unknown";
}

}  // namespace

std::string classText(int deviceClass) {
    switch (deviceClass) {
        case DeviceNode::SYSTEM:
            return "system";
        case DeviceNode::CAPTURE:
            return "capture";
        case DeviceNode::LOOP_STORAGE:
            return "loop storage";
        case DeviceNode::HOST:
            return "host";
        default:
            return "generic";
    }
}

std::string globalStatusText(const GlobalStatus& status) {
    if (status.level() == GlobalStatus::UNKNOWN && status.description().empty()) {
        return "";
    }
    const std::string level = levelText(status.level());
    return status.description().empty() ? level : level + ": " + status.description();
}

std::string valueText(const NamedStatus& status) {
    switch (status.type()) {
        case NamedStatus::TEXT:
            return status.text_value();
        case NamedStatus::SIGNED:
            return std::to_string(status.signed_value());
        case NamedStatus::UNSIGNED:
            return std::to_string(status.unsigned_value());
        case NamedStatus::DOUBLE:
            return fmt::format("{:.6g}", status.double_value());
    }
    return "";
}

// Messages are no deeper than a parser lets them be.
const DeviceNode* findDevice(const DeviceNode& root, const std::string& id) {
    if (root.id() == id) {
        return &root;
    }
    for (const DeviceNode& device : root.sub_devices()) {
        if (const DeviceNode* const found = findDevice(device, id)) {
            return found;
        }
    }
    return nullptr;
}

}  // namespace tarn::cli
