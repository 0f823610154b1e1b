#include "peers/loop_storage/server/WorkerSharing.h"

#include <string>
#include <system_error>

#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

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
