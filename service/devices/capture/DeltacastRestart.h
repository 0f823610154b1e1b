#pragma once

#include <chrono>
#include <optional>

#include "platform/utils/RestartPolicy.h"

namespace tarn::service::devices {

/// When an ingest service that was launched here, and has ended though nobody told it to, is to be
/// started again.
///
///     NotWanted --answers--> Running --ended--> Waiting --due, taken--> Starting
///     Starting --answers--> Running
///     Starting --does not come up--> Waiting
///     any --given up--> NotWanted
///
/// One thread at a time.
class DeltacastRestart {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// It answers.
    void runs(Time now);

    /// It has ended by itself: it is to be started again after what this returns. Nothing when it
    /// is not ours to start, or that is known already.
    std::optional<std::chrono::milliseconds> ended(Time now);

    /// What was started did not come up; likewise.
    std::optional<std::chrono::milliseconds> failed(Time now);

    /// Somebody else decides what runs: a client ordered a format, or a process that was launched
    /// elsewhere is there.
    void giveUp() { state = State::NotWanted; }

    /// True once, when the time has come: the caller starts it now.
    bool takeDue(Time now);

    /// Until it is due; nothing when nothing is.
    std::optional<std::chrono::milliseconds> left(Time now) const;

  private:
    enum class State { NotWanted, Running, Waiting, Starting };

    std::chrono::milliseconds wait(Time now);

    State state = State::NotWanted;
    utils::RestartPolicy policy;
    Time due{};
};

}  // namespace tarn::service::devices
