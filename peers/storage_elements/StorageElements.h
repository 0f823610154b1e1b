#pragma once

#include <gst/gst.h>

namespace tarn::peers::storage_elements {

/// "tarnstoragesink": writes what it gets into a track. Properties: location, track, worker-name,
/// durable.
GType storageSinkType();

/// "tarnstoragesrc": plays what a tarnstoragesink wrote into a track. Properties: location, track,
/// worker-name, start, stop-at-end.
GType storageSourceType();

}  // namespace tarn::peers::storage_elements
