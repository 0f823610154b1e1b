#include "platform/storage_wire/Checksum.h"

#include <isa-l/crc.h>

#include <algorithm>

namespace tarn::storage_wire {

namespace {

// The library counts in int.
constexpr std::size_t mostAtOnce = std::size_t(1) << 30U;

}  // namespace

std::uint32_t checksum(const void* bytes, std::size_t size, std::uint32_t before) {
    // It only reads, though it does not say so.
    auto* next = static_cast<unsigned char*>(const_cast<void*>(bytes));
    auto state = ~before;
    while (size > 0) {
        const auto piece = std::min(size, mostAtOnce);
        state = ::crc32_iscsi(next, static_cast<int>(piece), state);
        next += piece;
        size -= piece;
    }
    return ~state;
}

}  // namespace tarn::storage_wire
