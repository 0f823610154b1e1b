#include "tests/storage_sequences/FrameBytes.h"

#include <algorithm>
#include <cstring>

namespace tarn::storage_sequences {

namespace {

// A well mixed function of its argument.
std::uint64_t mix(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15U;
    value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31U);
}

}  // namespace

std::string frameBytes(std::int64_t track, std::int64_t timePoint, std::size_t size) {
    auto state = mix(mix(static_cast<std::uint64_t>(track)) ^
                     mix(static_cast<std::uint64_t>(timePoint)) ^ size);
    std::string bytes(size, '\0');
    for (std::size_t at = 0; at < size; at += sizeof state) {
        state = mix(state);
        std::memcpy(bytes.data() + at, &state, std::min(sizeof state, size - at));
    }
    return bytes;
}

bool isWholeFrame(std::int64_t track, std::int64_t timePoint, std::string_view bytes) {
    return bytes == frameBytes(track, timePoint, bytes.size());
}

}  // namespace tarn::storage_sequences
