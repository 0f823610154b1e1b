#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::storage_sequences {

/// What is in the frame of this time point of this track: the same each time, and different from
/// every other frame from its first bytes on, so that a torn one is noticed.
std::string frameBytes(std::int64_t track, std::int64_t timePoint, std::size_t size);

/// Of a frame that was read; its size is told by its first bytes.
bool isWholeFrame(std::int64_t track, std::int64_t timePoint, std::string_view bytes);

}  // namespace tarn::storage_sequences
