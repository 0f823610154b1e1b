#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::storage_wire {

/// CRC-32C of bytes; of those that follow others, with what came of the others as `before`. Any
/// thread.
std::uint32_t checksum(const void* bytes, std::size_t size, std::uint32_t before = 0);

}  // namespace tarn::storage_wire
