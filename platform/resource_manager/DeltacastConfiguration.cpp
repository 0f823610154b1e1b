#include "platform/resource_manager/DeltacastConfiguration.h"

#include <utility>

#include "proto/resource_manager.pb.h"

namespace tarn::resource_manager {

DeltacastConfiguration::DeltacastConfiguration(std::string pixelFormat, std::string inputList,
                                               std::string frameOffsetList, std::uint32_t lineCount,
                                               std::string fieldMode, std::uint32_t frameRate)
    : pixelFormat(std::move(pixelFormat)),
      inputList(std::move(inputList)),
      frameOffsetList(std::move(frameOffsetList)),
      lineCount(lineCount),
      fieldMode(std::move(fieldMode)),
      frameRate(frameRate) {}

DeltacastConfiguration::DeltacastConfiguration(
    const tarn::proto::resource_manager::DeltacastConfiguration& message)
    : DeltacastConfiguration(message.pixel_format(), message.input_list(),
                             message.frame_offset_list(), message.line_count(),
                             message.field_mode(), message.frame_rate()) {}

tarn::proto::resource_manager::DeltacastConfiguration DeltacastConfiguration::toProtoBuf() const {
    tarn::proto::resource_manager::DeltacastConfiguration message;
    message.set_pixel_format(pixelFormat);
    message.set_input_list(inputList);
    message.set_frame_offset_list(frameOffsetList);
    message.set_line_count(lineCount);
    message.set_field_mode(fieldMode);
    message.set_frame_rate(frameRate);
    return message;
}

}  // namespace tarn::resource_manager
