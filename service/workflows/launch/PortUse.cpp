// Why no port may have been left for a job.

#include <algorithm>
#include <charconv>
#include <list>
#include <string>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

namespace {

// -1 for an endpoint of another host or transport.
std::int32_t portOf(const std::string& endpoint, const std::string& host) {
    const auto prefix = "tcp://" + host + ":";
    std::int32_t port = -1;
    if (endpoint.starts_with(prefix)) {
        std::from_chars(endpoint.data() + prefix.size(), endpoint.data() + endpoint.size(), port);
    }
    return port;
}

}  // namespace

std::string WorkflowCreator::describePortUse() {
    if (requestsEndpoint.transport() != socket::Transport::Tcp) {
        return {};
    }
    bool isConfigured = false;
    const auto range = rangeOfPorts(isConfigured);
    const auto count = [&](const std::list<std::string>& endpoints) {
        const auto inRange = [&](const std::string& endpoint) {
            const auto port = portOf(endpoint, requestsEndpoint.host());
            return port >= range.from && port <= range.to;
        };
        return std::to_string(std::count_if(endpoints.begin(), endpoints.end(), inRange));
    };
    std::list<std::string> used;
    std::string error;
    dependencies.resourceManager.getUsedResources("Endpoint", used, error);
    return "Of the ports " + std::to_string(range.from) + " to " + std::to_string(range.to) +
           " of " + requestsEndpoint.host() + " " + count(*recentEndpoints.lock()) +
           " were given out lately and running jobs hold " +
           (error.empty() ? count(used) : "nobody knows how many: " + error);
}

}  // namespace tarn::service
