#include "gateway/GatewayOptions.h"

#include <CLI/CLI.hpp>

#include "platform/program/CommandLine.h"
#include "platform/program/Options.h"
#include "platform/program/TcpAccessOptions.h"
#include "platform/socket/PublishingEndpoint.h"

namespace tarn::gateway {

using tarn::socket::SocketEndpoint;

std::optional<GatewayOptions> parseGatewayOptions(program::CommandLine& line) {
    auto events = SocketEndpoint::FromString("ipc:///tmp/events");
    auto requests = SocketEndpoint::FromString("ipc:///tmp/requests");
    std::optional<SocketEndpoint> publish;
    CLI::App app("Receives the service's events and publishes them to any number of subscribers.");
    program::addEndpoint(app, "--events", events,
                         "The service's events endpoint, which is bound here");
    program::addEndpoint(app, "--publish", publish,
                         "Where subscribers connect; unless given, the events endpoint with "
                         "\".pub\" behind it, or the port after it");
    program::addEndpoint(app, "--requests", requests,
                         "The service's requests endpoint, where its tree is asked for");
    access::TcpAccessSettings tcpAccess;
    program::addTcpAccess(app, tcpAccess);
    const bool good = line.parse(app, [&] {
        if (!publish) {
            publish = tarn::socket::publishingEndpointFor(events);
        }
    });
    return good ? std::optional(GatewayOptions{events, *publish, requests, tcpAccess})
                : std::nullopt;
}

}  // namespace tarn::gateway
