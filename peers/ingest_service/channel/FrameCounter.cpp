#include "peers/ingest_service/channel/FrameCounter.h"

namespace tarn::peers::ingest_service {

void FrameCounter::add(std::optional<Time> time, Time frameDuration) {
    ++capturedFrames;
    if (time && last && frameDuration.count() > 0) {
        const auto steps = (*time - *last + frameDuration / 2) / frameDuration;
        droppedFrames += steps > 1 ? static_cast<std::uint64_t>(steps - 1) : 0;
    }
    last = time;
}

}  // namespace tarn::peers::ingest_service
