#pragma once

#include <cstddef>
#include <string>

#include "proto/monitoring.fwd.h"

namespace tarn::device_tree {

struct DeviceOutline;
class DeviceNode;

/// A device may be so deep, itself counted. Nobody can read a message of more than 100 levels, of
/// which the tree and what it is sent in need some.
inline constexpr unsigned mostLevels = 64;

/// And no event of it larger, in bytes: the tree of all devices has to fit into one message.
inline constexpr std::size_t largestEvent = std::size_t{8} << 20U;

/// Why a device is refused. The same words each time, so that one that stays refused changes
/// nothing. `what` was too large: "event" or "description".
std::string tooDeep();
std::string tooLarge(const std::string& what, std::size_t mostBytes);

/// Why no such device, or event, may be sent; empty when it may.
std::string refusalOf(const tarn::proto::monitoring::DeviceNode& device);
std::string refusalOf(const tarn::proto::monitoring::DeviceToTarnServiceEvent& event);

/// What stands in the tree for a device that is refused: itself without anything in it, in error.
DeviceNode refusedDevice(const DeviceOutline& device, const std::string& reason);

}  // namespace tarn::device_tree
