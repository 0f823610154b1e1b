#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "peers/job_runtime/SetupProtocol.h"

namespace tarn::peers {

/// The answer to a job's setup. The service serves its clients one after the other and waits for
/// this one, so a setup that takes its time is accepted soon in any case; what fails later is told
/// by the job itself. Given once. Time is passed in.
class SetupAnswer {
  public:
    using Clock = std::chrono::steady_clock;
    using Send = std::function<void(const SetupVerdict& verdict)>;

    static constexpr std::chrono::milliseconds longestWait{300};

    SetupAnswer(Send send, Clock::time_point asked)
        : send(std::move(send)), acceptAt(asked + longestWait) {}

    /// Goes out with the acceptance, unless that has been given.
    void warn(const std::string& text) { warning = text; }

    /// Without effect once an answer was given.
    void accept();
    void refuse(const std::string& reason);

    /// Accepts when it is time.
    void step(Clock::time_point now);

    /// When to step; nothing once an answer was given.
    std::optional<Clock::time_point> deadline() const { return acceptAt; }

  private:
    void give(const SetupVerdict& verdict);

    const Send send;
    std::optional<Clock::time_point> acceptAt;  // none once an answer was given
    std::string warning;
};

}  // namespace tarn::peers
