#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tarn::peers::ingest_service {

/// Whether a channel has its signal, which is frames that keep coming. One thread at a time.
///
///     NoDevice --there is one--> Waiting --frame--> Locked --no frame in time--> Lost
///     Waiting --no frame in time--> Lost
///     Waiting, Locked --the device fails--> Lost --frame--> Locked
///
/// A channel that once had a device is Lost without it, not NoDevice.
class SignalWatch {
  public:
    enum class State { NoDevice, Waiting, Locked, Lost };
    using Time = std::chrono::steady_clock::time_point;

    /// A signal is lost when no frame comes for `patience`.
    explicit SignalWatch(std::chrono::nanoseconds patience) : patience(patience) {}

    /// There is a device, and it is about to be opened.
    void opening(Time now);
    void frame(Time now);
    /// It cannot be opened, or has ended.
    void failed(const std::string& why);
    /// Time has passed.
    void look(Time now);

    State state() const { return current; }
    std::uint64_t losses() const { return lost; }

    /// Why it is lost; empty when it is not.
    const std::string& problem() const { return reason; }

    /// When a look may find that the signal is lost; nothing when only an event can change things.
    std::optional<Time> nextLook() const;

  private:
    void lose(const std::string& why);

    const std::chrono::nanoseconds patience;
    State current = State::NoDevice;
    Time since{};  // of the last frame, or the opening before the first
    std::uint64_t lost = 0;
    std::string reason;
};

}  // namespace tarn::peers::ingest_service
