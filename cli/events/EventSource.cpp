#include "cli/events/EventSource.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/client/ServiceClient.h"
#include "cli/events/BatchSubscription.h"
#include "platform/program/Options.h"

namespace tarn::cli {

using From = EventSource::From;
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

std::unique_ptr<BatchSource> open(const EventSource& source, const SocketEndpoint& endpoint) {
    if (source.from == From::Service) {
        return std::make_unique<BatchSubscription>(endpoint);
    }
    return std::make_unique<UpdateSubscription>(endpoint, source.trees);
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
    const auto batches = open(source, endpoint);
    const bool mayBeLate = source.from == From::Service && ending == Ending::OnInterrupt;
    BatchFollower follower(*batches,
                           {.endpoint = endpoint.toString(Protocol::None),
                            .remedy = remedyFor(source.from),
                            .bound = service.timeout(),
                            .patience = mayBeLate ? Patience::Endless : Patience::UntilFirst,
                            .until = ending == Ending::AtTimeout ? Clock::now() + service.timeout()
                                                                 : Clock::time_point::max()});
    return follower.follow(listener, interrupt);
}

}  // namespace tarn::cli
