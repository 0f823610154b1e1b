#include "service/api/SubmissionLimits.h"

#include <algorithm>
#include <utility>

namespace tarn::service {

namespace {

constexpr double burstSeconds = 2;

}  // namespace

SubmissionLimits::SubmissionLimits(std::string header, Now now)
    : header(std::move(header)),
      now(std::move(now)),
      refusals(utils::LogLevel::Warning, this->now) {}

std::optional<std::string> SubmissionLimits::refusal(const std::optional<socket::Visitor>& visitor,
                                                     const socket::Limits& limits,
                                                     const IsRunning& isRunning) {
    if (!visitor) {
        return std::nullopt;
    }
    std::string reason;
    if (!take(*visitor, limits)) {
        reason = "Too many submissions: " + visitor->describe() + " may make " +
                 std::to_string(limits.submissionsPerSecond) + " a second";
    } else if (hasTooMany(*visitor, limits.jobsPerUser, isRunning)) {
        reason = "Too many jobs: " + visitor->describe() + " may have " +
                 std::to_string(limits.jobsPerUser);
    } else {
        return std::nullopt;
    }
    refusals.log(header + reason);
    return reason;
}

bool SubmissionLimits::hasTooMany(const socket::Visitor& visitor, std::size_t most,
                                  const IsRunning& isRunning) {
    const auto his = jobs.find(visitor);
    if (his == jobs.end() || his->second.size() < most) {
        return false;
    }
    std::erase_if(his->second, [&](const std::string& id) { return !isRunning(id); });
    return his->second.size() >= most;
}

void SubmissionLimits::note(const std::optional<socket::Visitor>& visitor,
                            const std::string& jobId) {
    if (visitor) {
        jobs[*visitor].insert(jobId);
    }
}

bool SubmissionLimits::take(const socket::Visitor& visitor, const socket::Limits& limits) {
    const double most = burstSeconds * limits.submissionsPerSecond;
    const auto time = now();
    if (!allowances.contains(visitor)) {
        forgetOthers();
    }
    auto& allowance = allowances.try_emplace(visitor, Allowance{most, time}).first->second;
    const std::chrono::duration<double> passed = time - allowance.asOf;
    allowance.left = std::min(most, allowance.left + passed.count() * limits.submissionsPerSecond);
    allowance.asOf = time;
    if (allowance.left < 1) {
        return false;
    }
    allowance.left -= 1;
    return true;
}

// Those who have all of theirs again are like those who never came.
void SubmissionLimits::forgetOthers() {
    const std::chrono::duration<double> full(burstSeconds);
    std::erase_if(allowances, [&](const auto& each) { return now() - each.second.asOf >= full; });
}

}  // namespace tarn::service
