#pragma once

#include <chrono>
#include <optional>

namespace tarn::peers {

/// The ever harder steps by which a pipeline is ended, and when each is due. Time is passed in.
class StopEscalation {
  public:
    using Clock = std::chrono::steady_clock;

    enum class Step {
        Terminate,  ///< SIGTERM to the process group
        Kill,       ///< SIGKILL
        GiveUp,     ///< not even that helped
    };

    static constexpr std::chrono::seconds toFinish{5};
    static constexpr std::chrono::seconds toTerminate{1};
    static constexpr std::chrono::seconds toDie{5};

    /// The pipeline was asked, or has said of itself, to end now. Without effect when begun.
    void begin(Clock::time_point now);

    bool hasBegun() const { return due.has_value(); }

    /// When `take` will have something; nothing before `begin` and after the last step.
    std::optional<Clock::time_point> deadline() const;

    /// The step that is due, once.
    std::optional<Step> take(Clock::time_point now);

  private:
    std::optional<Clock::time_point> due;
    std::optional<Step> next = Step::Terminate;  // none after the last
};

}  // namespace tarn::peers
