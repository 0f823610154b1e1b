#pragma once

#include "platform/device_tree/DeviceNode.h"
#include "proto/deltacast_configuration.pb.h"

namespace tarn::test {

using proto::deltacast_configuration::DeltacastConfig;

/// rgb24 720p50, inputs 1 and 2 with offsets 0 and -1.
DeltacastConfig progressive720();
/// The same at 60 frames a second.
DeltacastConfig progressive720At60();

/// What starts the ingest service with that one, or with the default one, where the command that
/// is configured is "ingest".
inline constexpr auto command720 = "ingest rgb24 '1 2 ' '0 -1 ' 720 p 50 &";
inline constexpr auto defaultCommand = "ingest uyvy422_8 '0' '0' 1080 i 25 &";

/// An ingest service of this process id, which captures that format.
device_tree::DeviceNode ingestNode(const std::string& pid);

}  // namespace tarn::test
