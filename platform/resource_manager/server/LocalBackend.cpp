#include "platform/resource_manager/server/LocalBackend.h"

#include <poll.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "platform/resource_manager/registry/Registry.h"
#include "platform/resource_manager/server/ServedRegistry.h"

namespace tarn::resource_manager {

LocalBackend::LocalBackend(tarn::socket::SocketEndpoint endpoint) : endpoint(std::move(endpoint)) {}

std::shared_ptr<Registry> LocalBackend::registry() const {
    auto found = ServedRegistry::find(endpoint);
    if (!found) {
        throw std::runtime_error("The resource manager on " +
                                 endpoint.toString(tarn::socket::Protocol::None) +
                                 " has terminated");
    }
    return found;
}

std::list<RunningJob> LocalBackend::runningJobs() {
    return registry()->runningJobs();
}

std::list<RunningJob> LocalBackend::jobsThatMatch(const PropertyMatch& match) {
    return registry()->jobsThatMatch(match);
}

RunningJob LocalBackend::runningJobWithUuid(const std::string& uuid) {
    return registry()->runningJobWithUuid(uuid);
}

std::list<std::string> LocalBackend::usedResources(const std::string& type) {
    return registry()->usedResources(type);
}

void LocalBackend::clearDeadProcesses() {
    registry()->clearDeadProcesses();
}

void LocalBackend::registerJob(const RunningJob& job) {
    registry()->registerJob(job);
}

void LocalBackend::unregisterJob(const std::string& uuid) {
    registry()->unregisterJob(uuid, os::ProcessIdentity::ofThisProcess());
}

void LocalBackend::setDeltacastConfiguration(const DeltacastConfiguration& configuration) {
    registry()->setDeltacastConfiguration(configuration);
}

DeltacastConfiguration LocalBackend::deltacastConfiguration() {
    return registry()->deltacastConfiguration();
}

// Nothing tells of the end of a registry in this process: it is taken for lost every second.
bool LocalBackend::awaitLoss(int interruption, std::chrono::milliseconds bound) {
    constexpr std::chrono::milliseconds period{1000};
    pollfd input{.fd = interruption, .events = POLLIN, .revents = 0};
    return ::poll(&input, 1, static_cast<int>(std::min(bound, period).count())) == 0;
}

}  // namespace tarn::resource_manager
