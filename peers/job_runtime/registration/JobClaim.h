#pragma once

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>

#include "platform/os/NameClaim.h"

namespace tarn::peers {

/// The right to be the job of that id, among all that belong to one resource manager. One process
/// has it, whatever became of the registry, and the kernel takes it back when that process ends. A
/// service that lost its registry launches a persistent job a second time before the first has
/// registered again: that one is refused here.
class JobClaim {
  public:
    /// Who has it may be about to end: it is waited for so long, and no longer than until a stop is
    /// requested. Throws std::runtime_error when another process still has it then.
    JobClaim(const std::string& resourcesEndpoint, const std::string& jobId,
             std::chrono::milliseconds patience, const std::stop_token& stop = {});

    /// Whether another process had it when it was asked for.
    bool hadToWait() const { return waited; }

  private:
    std::optional<os::NameClaim> claim;
    bool waited = false;
};

}  // namespace tarn::peers
