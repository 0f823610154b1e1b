#include "peers/loop_storage/ring/TrackFiles.h"

#include <algorithm>

namespace tarn::peers::loop_storage {

namespace {

// How much lies before the ring's end.
std::size_t straight(std::uint64_t ringSize, std::uint64_t offset, std::size_t size) {
    return static_cast<std::size_t>(std::min<std::uint64_t>(size, ringSize - offset));
}

}  // namespace

void writeRing(const DiskFile& data, std::uint64_t ringSize, std::uint64_t position,
               const char* bytes, std::size_t size) {
    const auto offset = position % ringSize;
    const auto first = straight(ringSize, offset, size);
    data.writeAt(offset, bytes, first);
    data.writeAt(0, bytes + first, size - first);
}

void readRing(const DiskFile& data, std::uint64_t ringSize, std::uint64_t position, char* bytes,
              std::size_t size) {
    const auto offset = position % ringSize;
    const auto first = straight(ringSize, offset, size);
    data.readAt(offset, bytes, first);
    data.readAt(0, bytes + first, size - first);
}

bool readRingFromMemory(const DiskFile& data, std::uint64_t ringSize, std::uint64_t position,
                        char* bytes, std::size_t size) {
    const auto offset = position % ringSize;
    const auto first = straight(ringSize, offset, size);
    return data.readFromMemory(offset, bytes, first) &&
           data.readFromMemory(0, bytes + first, size - first);
}

}  // namespace tarn::peers::loop_storage
