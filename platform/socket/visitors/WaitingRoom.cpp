#include "platform/socket/visitors/WaitingRoom.h"

#include <utility>

namespace tarn::socket {

void WaitingRoom::take(os::FileDescriptor connection) {
    const std::lock_guard lock(mutex);
    closeUntil(now());
    if (all.size() < places) {
        all.push_back({std::move(connection), now() + wait});
    }
}

std::optional<WaitingRoom::Clock::time_point> WaitingRoom::closeThoseWhoWaited() {
    const std::lock_guard lock(mutex);
    if (all.empty()) {
        return std::nullopt;
    }
    closeUntil(now());
    return all.empty() ? std::nullopt : std::optional(all.front().until);
}

void WaitingRoom::closeUntil(Clock::time_point time) {
    while (!all.empty() && all.front().until <= time) {
        all.pop_front();
    }
}

WaitingRoom& processWaitingRoom() {
    static auto& instance = *new WaitingRoom();
    return instance;
}

}  // namespace tarn::socket
