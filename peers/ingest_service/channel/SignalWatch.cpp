#include "peers/ingest_service/channel/SignalWatch.h"

namespace tarn::peers::ingest_service {

void SignalWatch::opening(Time now) {
    if (current == State::NoDevice) {
        current = State::Waiting;
        since = now;
    }
}

void SignalWatch::frame(Time now) {
    current = State::Locked;
    since = now;
    reason.clear();
}

void SignalWatch::failed(const std::string& why) {
    lose(why);
}

void SignalWatch::look(Time now) {
    if (const auto end = nextLook(); end && now >= *end) {
        lose("no frame for " +
             std::to_string(std::chrono::round<std::chrono::milliseconds>(patience).count()) +
             " ms");
    }
}

// A device that cannot be opened again is no further loss.
void SignalWatch::lose(const std::string& why) {
    lost += current == State::Lost ? 0 : 1;
    current = State::Lost;
    reason = why;
}

std::optional<SignalWatch::Time> SignalWatch::nextLook() const {
    const bool expectsFrames = current == State::Waiting || current == State::Locked;
    return expectsFrames
               ? std::optional(since +
                               std::chrono::ceil<std::chrono::steady_clock::duration>(patience))
               : std::nullopt;
}

}  // namespace tarn::peers::ingest_service
