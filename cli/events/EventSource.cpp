#include "cli/events/EventSource.h"

#include <CLI/CLI.hpp>

#include "cli/client/ServiceClient.h"
#include "platform/program/Options.h"

namespace tarn::cli {

using From = BatchSubscription::From;
using Patience = BatchFollower::Patience;
using tarn::socket::Protocol;
using tarn::socket::SocketEndpoint;

namespace {

// The service connects when it starts: it cannot be asked before.
constexpr auto defaultEventsEndpoint = "ipc:///tmp/events";

SocketEndpoint endpointOf(const EventSource& source, ServiceClient& service) {
    if (source.endpoint) {
        return *source.endpoint;
    }
    return source.from == From::Service ? SocketEndpoint::FromString(defaultEventsEndpoint)
                                        : service.publishingEndpoint();
}

const char* remedyFor(From from) {
    return from == From::Service ? "a service connects to it when the service starts"
                                 : "is tarnGateway running?";
}

}  // namespace

CLI::Option* addEventsEndpoint(CLI::App& command, EventSource& source) {
    return program::addEndpoint(
        command, "--events-endpoint", source.endpoint,
        "Where the events are published; unless given, the service is asked");
}

ExitStatus followBatches(const EventSource& source, Ending ending, ServiceClient& service,
                         BatchListener& listener, const Interrupt& interrupt) {
    using Clock = BatchFollower::Clock;
    const SocketEndpoint endpoint = endpointOf(source, service);
    BatchSubscription subscription(source.from, endpoint);
    const bool mayBeLate = source.from == From::Service && ending == Ending::OnInterrupt;
    BatchFollower follower(subscription,
                           {.endpoint = endpoint.toString(Protocol::None),
                            .remedy = remedyFor(source.from),
                            .bound = service.timeout(),
                            .patience = mayBeLate ? Patience::Endless : Patience::UntilFirst,
                            .until = ending == Ending::AtTimeout ? Clock::now() + service.timeout()
                                                                 : Clock::time_point::max()});
    return follower.follow(listener, interrupt);
}

}  // namespace tarn::cli
