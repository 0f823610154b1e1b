#pragma once

#include <cstdint>
#include <string>

#include "proto/deltacast_configuration.fwd.h"

namespace tarn::device_tree {
class DeviceNode;
}

namespace tarn::service::devices {

/// A capture format as it stands in the ingest service's command line.
struct DeltacastFormat {
    std::string pixelFormat;
    std::string inputList;        ///< channel numbers, a blank after each
    std::string frameOffsetList;  ///< in frames, a blank after each
    std::uint32_t lineCount = 0;
    std::string fieldMode;
    std::uint32_t frameRate = 0;  ///< in hundredths, or thousandths, where fractional

    friend bool operator==(const DeltacastFormat&, const DeltacastFormat&) = default;
};

/// For people: "1080i25 uyvy422_8, inputs 0 1, frame offsets 0 -1".
std::string nameOf(const DeltacastFormat& format);

/// Values that are unknown or absent stand for uyvy422_8, 1080, i and 60.
DeltacastFormat toFormat(
    const tarn::proto::deltacast_configuration::DeltacastConfig& configuration);

/// The format that the ingest service says is in force, from the properties of its node. False with
/// the reason in `error`, and `configuration` empty, when one is missing or makes no sense.
bool readDeltacastConfig(const device_tree::DeviceNode& service,
                         tarn::proto::deltacast_configuration::DeltacastConfig& configuration,
                         std::string& error);

}  // namespace tarn::service::devices
