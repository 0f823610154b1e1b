#pragma once

#include <chrono>
#include <functional>

namespace tarn::resource_manager {
class ResourceManagerProxy;
}

namespace tarn::service {

/// Waits until the running jobs that have been told to end, by the service before this one or by a
/// client, have ended: a persistent job among them can be started again only then. Jobs that do not
/// say that they end are not waited for, nor is one that takes longer than `bound`.
///
/// `pause` waits for the given time, or less when the wait is to be broken off: it returns true
/// then. What goes wrong is logged; does not throw.
void awaitEndingJobs(resource_manager::ResourceManagerProxy& resourceManager,
                     const std::function<bool(std::chrono::milliseconds)>& pause,
                     std::chrono::milliseconds bound = std::chrono::seconds(10));

}  // namespace tarn::service
