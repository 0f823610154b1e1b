#pragma once

#include <chrono>

namespace tarn::resource_manager {
class ResourceManagerProxy;
}

namespace tarn::service {

/// Asks every running job to stop, one after the other, in the order of the resource manager's
/// list. Nothing waits for the jobs to exit; one that does not answer costs at most `boundPerJob`.
/// Everything is logged; does not throw.
void terminateJobs(resource_manager::ResourceManagerProxy& resourceManager,
                   std::chrono::milliseconds boundPerJob = std::chrono::seconds(5));

}  // namespace tarn::service
