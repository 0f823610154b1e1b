#pragma once

#include <optional>

#include "cli/events/BatchFollower.h"
#include "cli/events/UpdateSubscription.h"
#include "platform/socket/SocketEndpoint.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tarn::cli {

class ServiceClient;

/// Where a command gets the service's events from.
struct EventSource {
    /// Nothing: where the service's gateway publishes them; the service is asked.
    std::optional<socket::SocketEndpoint> endpoint = {};
    enum class From {
        Gateway,  ///< what it publishes
        Service,  ///< in the gateway's place
    };
    From from = From::Gateway;
    UpdateSubscription::Trees trees = UpdateSubscription::Trees::Unwanted;  ///< of the gateway
};

/// Adds the option that sets the endpoint.
CLI::Option* addEventsEndpoint(CLI::App& command, EventSource& source);

enum class Ending {
    OnInterrupt,  ///< or when the listener has enough
    AtTimeout,    ///< the service client's, counted from the start
};

/// As BatchFollower::follow.
ExitStatus followBatches(const EventSource& source, Ending ending, ServiceClient& service,
                         BatchListener& listener, const Interrupt& interrupt);

}  // namespace tarn::cli
