#pragma once

#include <atomic>
#include <chrono>

namespace tarn::peers::loop_storage {

/// What a client is here for at this moment, and since when. Set by its session; read by any
/// thread, which may see the one from before and the other from after a change.
///
///   Idle -> Asking -> Idle ...   a question, until it is answered
///   Asking -> Working            it has attached to a track
///   any -> Idle                  it was refused
class Presence {
  public:
    using Clock = std::chrono::steady_clock;
    /// In the order in which they have to go when there is no place for another client.
    enum class Standing { Idle, Asking, Working };

    void set(Standing next, Clock::time_point now = Clock::now()) {
        begin = now.time_since_epoch();
        current = next;
    }
    Standing standing() const { return current; }
    Clock::time_point since() const { return Clock::time_point(begin); }

  private:
    std::atomic<Standing> current = Standing::Idle;
    std::atomic<Clock::duration> begin = Clock::now().time_since_epoch();
};

}  // namespace tarn::peers::loop_storage
