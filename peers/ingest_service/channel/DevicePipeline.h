#pragma once

#include <functional>
#include <string>

#include "peers/ingest_service/channel/CaptureFormat.h"
#include "peers/pipeline_process/GstPointers.h"

namespace tarn::peers::ingest_service {

/// What a channel is captured from.
struct DeviceSource {
    std::string text;  ///< elements of the media library; empty: a video device of the kernel
    std::string path;  ///< of that; empty as well: there is none

    bool isNone() const { return text.empty() && path.empty(); }
};

/// Whether there is something to be opened: an empty place is a channel without a device.
bool isThere(const DeviceSource& source);

/// A pipeline from the device to the element "end", in the format; it has opened the device to see
/// what that gives, and does not play. `arrived` is called by a thread of the media library with
/// each frame as it comes from the device, and outlives the pipeline. Null with the reason in
/// `error`.
GstElementPtr openDevice(const DeviceSource& source, const CaptureFormat& format,
                         const std::function<void()>& arrived, std::string& error);

}  // namespace tarn::peers::ingest_service
