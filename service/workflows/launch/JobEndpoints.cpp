// The endpoint side of the workflow creator.

#include <algorithm>
#include <stdexcept>
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

template <typename Texts>
bool holds(const Texts& texts, const std::string& wanted) {
    return std::find(texts.begin(), texts.end(), wanted) != texts.end();
}

}  // namespace

bool WorkflowCreator::generateIpcEndpointString(std::string& endpoint, std::string& error) {
    error.clear();
    endpoint = "ipc:///tmp/" + utils::UuidGenerator::Generate();
    return true;
}

WorkflowCreator::PortRange WorkflowCreator::rangeOfPorts(bool& isConfigured) const {
    std::uint16_t from = 0;
    std::uint16_t to = 0;
    isConfigured = dependencies.configuration.getTcpPortRange(requestsEndpoint.host(), from, to);
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
    const int port = range.from + dependencies.random() % (range.to - range.from + 1);
    return "tcp://" + requestsEndpoint.host() + ":" + std::to_string(port);
}

bool WorkflowCreator::isHeldByAJob(const std::string& endpoint) {
    std::list<std::string> used;
    std::string error;
    if (!dependencies.resourceManager.getUsedResources("Endpoint", used, error)) {
        utils::logError(
            formatMessage("Failed to get running jobs by property and value: " + error));
        used.clear();
    }
    return holds(used, endpoint);
}

// Jobs that a lost registry has forgotten still hold their ports until they register again, and the
// same ports are drawn in every run: what comes back would get exactly those.
WorkflowCreator::Listener WorkflowCreator::listenerOn(const std::string& endpoint) const {
    try {
        const auto parsed = socket::SocketEndpoint::FromString(endpoint);
        const bool isFree = !dependencies.isFree || dependencies.isFree(parsed);
        return isFree ? Listener::None : Listener::Somebody;
    } catch (const std::invalid_argument&) {
        return Listener::Impossible;  // a range may begin with port 0
    }
}

bool WorkflowCreator::isGivenOut(const std::list<std::string>& recent,
                                 const std::string& endpoint) {
    return holds(recent, endpoint) || isHeldByAJob(endpoint);
}

std::string WorkflowCreator::findTcpEndpoint(const std::list<std::string>& recent) {
    std::vector<std::string> occupied;
    // The counter has moved on before it is looked at: what the fiftieth attempt found is not
    // taken.
    for (int attempts = 1; attempts <= attemptLimit + 1; ++attempts) {
        const auto candidate = drawTcpEndpoint();
        if (holds(occupied, candidate) || isGivenOut(recent, candidate) ||
            attempts > attemptLimit) {
            continue;
        }
        const auto listener = listenerOn(candidate);
        if (listener == Listener::None) {
            return candidate;
        }
        if (listener == Listener::Somebody) {
            occupied.push_back(candidate);
        }
    }
    if (occupied.empty()) {
        return {};
    }
    utils::logWarning(formatMessage("No port was found that no job holds and nobody listens on: " +
                                    occupied.front() + " is given all the same"));
    return occupied.front();
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
    const auto candidate = findTcpEndpoint(*recent);
    if (candidate.empty()) {
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
