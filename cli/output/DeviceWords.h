#pragma once

#include <string>

#include "proto/monitoring.fwd.h"

namespace tarn::cli {

/// What operators call a device's class (tarn.proto.monitoring.DeviceNode.DeviceClass): "host".
std::string classText(int deviceClass);

/// "ok", "warning: too hot"; empty for a status that says nothing.
std::string globalStatusText(const proto::monitoring::GlobalStatus& status);

/// The value alone.
std::string valueText(const proto::monitoring::NamedStatus& status);

/// The node of this id, anywhere in the tree; null when there is none. Points into `root`.
const proto::monitoring::DeviceNode* findDevice(const proto::monitoring::DeviceNode& root,
                                                const std::string& id);

}  // namespace tarn::cli
