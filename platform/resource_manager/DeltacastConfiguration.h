#pragma once

#include <cstdint>
#include <string>

#include "proto/resource_manager.fwd.h"

namespace tarn::resource_manager {

/// The capture format of the ingest service as it stands in its command line. A value.
class DeltacastConfiguration {
  public:
    DeltacastConfiguration() = default;
    DeltacastConfiguration(std::string pixelFormat, std::string inputList,
                           std::string frameOffsetList, std::uint32_t lineCount,
                           std::string fieldMode, std::uint32_t frameRate);
    explicit DeltacastConfiguration(
        const tarn::proto::resource_manager::DeltacastConfiguration& message);

    const std::string& getPixelFormat() const { return pixelFormat; }
    const std::string& getInputList() const { return inputList; }
    const std::string& getFrameOffsetList() const { return frameOffsetList; }
    std::uint32_t getLineCount() const { return lineCount; }
    const std::string& getFieldMode() const { return fieldMode; }
    std::uint32_t getFrameRate() const { return frameRate; }

    tarn::proto::resource_manager::DeltacastConfiguration toProtoBuf() const;

    friend bool operator==(const DeltacastConfiguration&, const DeltacastConfiguration&) = default;

  private:
    std::string pixelFormat;
    std::string inputList;
    std::string frameOffsetList;
    std::uint32_t lineCount = 0;
    std::string fieldMode;
    std::uint32_t frameRate = 0;
};

}  // namespace tarn::resource_manager
