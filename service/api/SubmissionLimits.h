#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/socket/Limits.h"
#include "platform/socket/Visitor.h"
#include "platform/utils/RepeatedFailure.h"

namespace tarn::service {

/// How many jobs and engines each visitor may submit, and how many jobs he may have of those that
/// he has submitted to this process. Somebody who is not counted (see Visitor.h) may have any
/// number. One thread at a time.
class SubmissionLimits {
  public:
    using Now = std::function<std::chrono::steady_clock::time_point()>;
    /// Whether the job of that id still runs; asked when a visitor has as many as he may.
    using IsRunning = std::function<bool(const std::string& jobId)>;

    /// `header` stands in front of what is logged.
    SubmissionLimits(std::string header, Now now);

    /// Why he may not submit one more now, for him and, once a second at most, for the log; nothing
    /// when he may, and then it counts.
    std::optional<std::string> refusal(const std::optional<socket::Visitor>& visitor,
                                       const socket::Limits& limits, const IsRunning& isRunning);

    /// He has submitted a job.
    void note(const std::optional<socket::Visitor>& visitor, const std::string& jobId);

  private:
    /// What he may submit at once, which comes back with time.
    struct Allowance {
        double left = 0;
        std::chrono::steady_clock::time_point asOf;
    };

    using Jobs = std::set<std::string>;

    bool hasTooMany(const socket::Visitor& visitor, std::size_t most, const IsRunning& isRunning);
    bool take(const socket::Visitor& visitor, const socket::Limits& limits);
    void forgetOthers();

    const std::string header;
    const Now now;
    utils::RepeatedFailure refusals;
    std::map<socket::Visitor, Allowance> allowances;
    std::map<socket::Visitor, Jobs> jobs;  // some of which may have ended
};

}  // namespace tarn::service
