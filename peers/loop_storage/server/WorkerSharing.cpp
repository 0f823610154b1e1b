#include "peers/loop_storage/server/WorkerSharing.h"

#include <string>
#include <system_error>

#include "platform/storage_wire/MessageParser.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

// Several pictures as they come from a camera. Memory is taken as it is used.
constexpr std::size_t writerMemorySize = 32U << 20U;

}  // namespace

WriterMemory::WriterMemory() : memory(writerMemorySize, SharedMemory::ClientMay::Write) {}

std::string_view WriterMemory::at(std::uint64_t offset, std::uint64_t size) const {
    if (offset > memory.size() || size > memory.size() - offset) {
        throw storage_wire::WireError("A frame is said to lie outside the shared memory");
    }
    return {memory.begin() + offset, static_cast<std::size_t>(size)};
}

std::vector<int> WorkerSharing::descriptors() const {
    if (memory) {
        return {memory->descriptor()};
    }
    if (ring.limit) {
        return {ring.data.get(), ring.limit->descriptor()};
    }
    return {};
}

WorkerSharing makeWorkerSharing(Track& track, Track::WorkerKind kind) {
    try {
        if (kind == Track::WorkerKind::Writer) {
            return {.memory = std::make_shared<const WriterMemory>(), .ring = {}};
        }
        return {.memory = {}, .ring = track.share()};
    } catch (const std::system_error& failure) {
        utils::logWarning(std::string("A client's frames go over its socket: ") + failure.what());
        return {};
    }
}

}  // namespace tarn::peers::loop_storage
