#pragma once

#include <chrono>

namespace tarn::resource_manager {
class ResourceManagerProxy;
}

namespace tarn::service {

/// Who keeps the registry in which the running jobs are listed.
enum class RegistryKeeper { ThisService, AnotherService };

/// Orders every running job to stop, all of them at once, in the order of the resource manager's
/// list, and then awaits their answers in that order, `bound` for all of them together. Nothing
/// waits for the jobs to exit. Jobs that another service keeps the registry of are its own: they
/// are left alone. Everything is logged; does not throw.
void terminateJobs(resource_manager::ResourceManagerProxy& resourceManager,
                   std::chrono::milliseconds bound = std::chrono::seconds(5),
                   RegistryKeeper keeper = RegistryKeeper::ThisService);

}  // namespace tarn::service
