#pragma once

#include <string>

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::service::devices {

/// What the tree shows of an ingest service that is not there: what it said of itself last, with
/// every node of it in error.
device_tree::DeviceNode shownInError(device_tree::DeviceNode described, const std::string& reason);

}  // namespace tarn::service::devices
