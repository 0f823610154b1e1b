#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::peers::loop_storage {

/// CRC-32C.
std::uint32_t checksum(const void* bytes, std::size_t size);

}  // namespace tarn::peers::loop_storage
