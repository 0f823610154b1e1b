#pragma once

#include <cstdint>
#include <string>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::benchmarks {

std::string idOf(std::int64_t number);

/// Two properties and three statuses, as a track has.
device_tree::DeviceNode sampleNode(const std::string& id);

}  // namespace tarn::benchmarks
