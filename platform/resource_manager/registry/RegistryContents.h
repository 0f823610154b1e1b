#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/resource_manager/DeltacastConfiguration.h"
#include "platform/resource_manager/RunningJob.h"

namespace tarn::resource_manager {

/// One step of the registry from one consistent state to the next: first `removed`, then `entered`,
/// which keeps the place of a job with the same id if one is left.
struct RegistryChange {
    std::vector<std::string> removed;  ///< job ids
    std::optional<RunningJob> entered;
    std::optional<DeltacastConfiguration> deltacastConfiguration;
};

/// What the registry knows. A value.
struct RegistryContents {
    std::vector<RunningJob> jobs;  ///< in the order of their registration
    std::optional<DeltacastConfiguration> deltacastConfiguration;  ///< once one was set

    /// Null when no job has this id. Valid until the next change.
    const RunningJob* find(const std::string& jobId) const;

    void apply(const RegistryChange& change);
};

}  // namespace tarn::resource_manager
