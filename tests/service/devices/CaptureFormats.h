#pragma once

#include "platform/device_tree/DeviceNode.h"
#include "proto/deltacast_configuration.pb.h"

namespace tarn::test {

using proto::deltacast_configuration::DeltacastConfig;

/// rgb24 720p50, inputs 1 and 2 with offsets 0 and -1.
DeltacastConfig progressive720();
/// The same at 60 frames a second.
DeltacastConfig progressive720At60();

/// An ingest service of this process id, which captures that format.
device_tree::DeviceNode ingestNode(const std::string& pid);

}  // namespace tarn::test
