#pragma once

#include <gst/gst.h>

namespace tarn::peers::storage_elements {

/// "tarnstoragesrc": plays what a tarnstoragesink wrote into a track. Properties: location, track,
/// worker-name, start, stop-at-end.
GType storageSourceType();

}  // namespace tarn::peers::storage_elements
