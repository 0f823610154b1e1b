// The endpoint side of the workflow creator.

#include <algorithm>
#include <utility>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/utils/Log.h"
#include "platform/utils/UuidGenerator.h"
#include "service/configuration/ConfigurationHandler.h"
#include "service/workflows/WorkflowCreator.h"

namespace tarn::service {

namespace {

constexpr int attemptLimit = 49;
constexpr std::size_t recentLimit = 50;

}  // namespace

bool WorkflowCreator::generateIpcEndpointString(std::string& endpoint, std::string& error) {
    error.clear();
    endpoint = "ipc:///tmp/" + utils::UuidGenerator::Generate();
    return true;
}

WorkflowCreator::PortRange WorkflowCreator::rangeOfPorts(bool& isConfigured) const {
    std::uint16_t from = 0;
    std::uint16_t to = 0;
    isConfigured = surroundings.configuration.getTcpPortRange(requestsEndpoint.host(), from, to);
    return isConfigured ? PortRange{std::min(from, to), std::max(from, to)}
                        : PortRange{10000, 20000};
}

WorkflowCreator::PortRange WorkflowCreator::jobPorts() const {
    bool isConfigured = false;
    const auto range = rangeOfPorts(isConfigured);
    if (!isConfigured) {
        utils::logWarning(
            formatMessage("Warning: Getting tcp ports on a non-configured interface. Attributing "
                          "ports blindly."));
    }
    return range;
}

std::string WorkflowCreator::drawTcpEndpoint() {
    const auto range = jobPorts();
    const int port = range.from + surroundings.random() % (range.to - range.from + 1);
    return "tcp://" + requestsEndpoint.host() + ":" + std::to_string(port);
}

bool WorkflowCreator::isHeldByAJob(const std::string& endpoint) {
    std::list<std::string> used;
    std::string error;
    if (!surroundings.resourceManager.getUsedResources("Endpoint", used, error)) {
        utils::logError(
            formatMessage("Failed to get running jobs by property and value: " + error));
        used.clear();
    }
    return std::find(used.begin(), used.end(), endpoint) != used.end();
}

// Jobs that a lost registry has forgotten still hold their ports until they register again, and the
// same ports are drawn in every run: what comes back would get exactly those.
bool WorkflowCreator::isFree(const std::string& endpoint) const {
    return !surroundings.isFree ||
           surroundings.isFree(socket::SocketEndpoint::FromString(endpoint));
}

bool WorkflowCreator::generateNewEndpointString(std::string& endpoint, std::string& error) {
    endpoint.clear();
    error.clear();
    if (requestsEndpoint.transport() == socket::Transport::Ipc) {
        return generateIpcEndpointString(endpoint, error);
    }
    if (requestsEndpoint.transport() != socket::Transport::Tcp) {
        return true;
    }

    auto recent = recentEndpoints.lock();
    int attempts = 0;
    bool found = false;
    std::string candidate;
    do {
        candidate = drawTcpEndpoint();
        found = std::find(recent->begin(), recent->end(), candidate) == recent->end() &&
                !isHeldByAJob(candidate) && isFree(candidate);
        ++attempts;
    } while (!found && attempts <= attemptLimit);

    // The counter has moved on before this test, so what the last attempt found is not taken.
    if (attempts > attemptLimit) {
        error = formatMessage("No endpoint available");
        return false;
    }
    recent->push_back(candidate);
    while (recent->size() > recentLimit) {
        recent->pop_front();
    }
    endpoint = candidate;
    return true;
}

}  // namespace tarn::service
