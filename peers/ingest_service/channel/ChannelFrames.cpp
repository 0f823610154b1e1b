// What a channel does with the frames that come, on whichever thread they come.
#include <utility>

#include "peers/ingest_service/channel/CaptureChannel.h"

namespace tarn::peers::ingest_service {

// The first one ends whatever was shown in its place.
void CaptureChannel::frameArrived() {
    auto locked = state.lock();
    const bool isBack = locked->watch.state() != SignalWatch::State::Locked;
    locked->watch.frame(Clock::now());
    ++locked->captured;
    if (isBack) {
        locked->shown = Shown::Device;
        locked->changed = true;
        changed.notify_all();
    }
}

// Offered without the lock: the output copies a whole picture. The frame that was kept before goes
// without it, too.
void CaptureChannel::takeDeviceFrame(GstBufferPtr frame) {
    const auto output = [this] {
        auto locked = state.lock();
        return locked->shown == Shown::Device ? locked->output : nullptr;
    }();
    if (!output) {
        return;
    }
    auto offered = output->offer(std::move(frame));
    if (settings.substitute == Substitute::Freeze) {
        const auto before = std::exchange(state.lock()->last, std::move(offered));
    }
}

void CaptureChannel::takeSubstituteFrame(GstBufferPtr frame) {
    const auto output = [this]() -> std::shared_ptr<FrameOutput> {
        auto locked = state.lock();
        if (locked->shown != Shown::Substitute) {
            return nullptr;
        }
        const bool isOwn = locked->watch.state() == SignalWatch::State::NoDevice;
        ++(isOwn ? locked->captured : locked->replaced);
        return locked->output;
    }();
    if (output) {
        output->offer(std::move(frame));
    }
}

// From threads of the media library, which must not wait for what the channel's own thread does.
void CaptureChannel::wake() {
    state.lock()->changed = true;
    changed.notify_all();
}

}  // namespace tarn::peers::ingest_service
