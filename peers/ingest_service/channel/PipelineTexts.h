#pragma once

#include <string>

#include "peers/ingest_service/channel/CaptureFormat.h"
#include "peers/ingest_service/channel/Substitute.h"

namespace tarn::peers::ingest_service {

// The parts of a channel in the launch syntax of the media library. What is text from outside in
// them, such as paths, is set as a property instead.

/// How the device scans its pictures, as far as it can be told before it is captured from.
enum class Scan { Progressive, Interlaced };

/// From whatever the device gives to the format: scaled, converted, in the rate of the format. A
/// format of two fields is interlaced from twice as many frames, or taken from a device as it is
/// that has fields itself; for any other fields are woven. Ends in the element "end", which frames
/// are taken from.
std::string conversionText(const CaptureFormat& format, Scan device);

/// Frames of the format that are no device's, at its rate, to the element "end". A frozen picture
/// is the frame that the element "frozen" is given.
std::string substituteText(const CaptureFormat& format, Substitute picture);

/// From the element "frames", which frames are given to, to readers at the element "sink". `delay`
/// frames are held back.
std::string outputText(const CaptureFormat& format, unsigned delay);

}  // namespace tarn::peers::ingest_service
