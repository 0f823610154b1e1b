#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

#include "platform/os/FileDescriptor.h"

namespace tarn::socket {

/// Connections that were turned away, and are closed a second later: whoever is told at once comes
/// again at once, ten thousand times a second, which keeps two processors busy. Any thread.
class WaitingRoom {
  public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    static constexpr std::chrono::seconds wait{1};
    static constexpr std::size_t places = 64;  ///< who finds none is told at once

    explicit WaitingRoom(Now now = Clock::now) : now(std::move(now)) {}

    void take(os::FileDescriptor connection);

    /// Closes those who have waited; when the next ones will have, nothing when nobody waits.
    std::optional<Clock::time_point> closeThoseWhoWaited();

  private:
    struct Waiting {
        os::FileDescriptor connection;
        Clock::time_point until;
    };

    void closeUntil(Clock::time_point time);

    const Now now;
    std::mutex mutex;
    std::deque<Waiting> all;  // guarded by it; in the order of their ends
};

/// That of this process; never destroyed.
WaitingRoom& processWaitingRoom();

}  // namespace tarn::socket
