#pragma once

#include <string>
#include <vector>

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::benchmarks {

// Events as devices send them, serialised.
std::string addEvent(const device_tree::DeviceNode& device);
/// A changed property, of another value for each number; all are as long.
std::string changeEvent(device_tree::DeviceNode device, int number);
std::string removeEvent(const std::string& id);

/// The status "Load" of each of these nodes is now `value`.
std::string loadEvent(const std::vector<std::string>& ids, double value);

/// Whether this is a batch with the announcement that the device of this id came or changed.
bool announces(const std::string& batch, const std::string& id);

}  // namespace tarn::benchmarks
