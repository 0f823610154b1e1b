#pragma once

#include <string>

#include "platform/device_tree/DeviceNode.h"
#include "proto/monitoring.pb.h"

namespace tarn::test {

using Event = proto::monitoring::DeviceToTarnServiceEvent;

/// A capture device with a status "frames" (unsigned) of that value.
device_tree::DeviceNode camera(const std::string& id, std::uint64_t frames = 0);

/// A capture device so many levels deep, itself counted: "cam1" > "cam1.2" > "cam1.3" and so on.
device_tree::DeviceNode deepCamera(const std::string& id, unsigned levels);

/// One with a property of so many bytes.
device_tree::DeviceNode largeCamera(const std::string& id, std::size_t bytes);

/// What stands in the tree for a camera that is refused.
device_tree::DeviceNode refusedCamera(const std::string& id, const std::string& reason);

// The events that a device may send.
Event addEvent(const device_tree::DeviceNode& node);
Event changeEvent(const device_tree::DeviceNode& node);
Event removeEvent(const std::string& id);
Event shutdownEvent(const std::string& id);
Event framesEvent(const std::string& id, std::uint64_t frames);

/// An event of a type that may have no name.
Event eventOfType(int type);

}  // namespace tarn::test
