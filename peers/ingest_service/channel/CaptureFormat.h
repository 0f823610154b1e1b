#pragma once

#include <chrono>
#include <string>

namespace tarn::peers::ingest_service {

/// A capture format as the service names it.
struct CaptureFormat {
    std::string pixelFormat = "uyvy422_8";
    unsigned lineCount = 1080;
    std::string fieldMode = "i";
    unsigned frameRate = 25;  ///< whole frames; 23976, 2997 and 5994 are fractional
};

/// Why there is no such format; empty when there is. Formats exist that the interface standards of
/// SDI have: 488i and 576i, 720p, and 1080 lines in all three modes, each with its own rates.
std::string problemOf(const CaptureFormat& format);

/// "1080i25 uyvy422_8".
std::string nameOf(const CaptureFormat& format);

/// The format, which must exist, in the terms of the media library.
std::string capsOf(const CaptureFormat& format);

/// Of the frames that the fields of such a format, which must be interlaced, are taken from: twice
/// as many, each of them whole, and of a kind that can be interlaced.
std::string fieldCapsOf(const CaptureFormat& format);

unsigned bytesPerFrame(const CaptureFormat& format);

std::chrono::nanoseconds frameTimeOf(const CaptureFormat& format);

}  // namespace tarn::peers::ingest_service
