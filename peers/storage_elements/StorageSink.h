#pragma once

#include <gst/gst.h>

namespace tarn::peers::storage_elements {

/// "tarnstoragesink": writes what it gets into a track. Properties: location, track, worker-name,
/// durable.
GType storageSinkType();

}  // namespace tarn::peers::storage_elements
