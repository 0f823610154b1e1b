#include "gateway/GatewayOptions.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <ostream>

#include "platform/socket/PublishingEndpoint.h"
#include "platform/utils/Printable.h"

namespace tarn::gateway {

using tarn::socket::publishingEndpointFor;
using tarn::socket::SocketEndpoint;
using tarn::socket::Transport;

namespace {

constexpr int usageError = 2;

SocketEndpoint endpointFor(const std::string& option, const std::string& text) {
    try {
        const auto endpoint = SocketEndpoint::FromString(text);
        if (endpoint.transport() == Transport::InProcess) {
            throw std::invalid_argument("an endpoint that other processes can reach is expected");
        }
        return endpoint;
    } catch (const std::invalid_argument& reason) {
        throw CLI::ValidationError(option, reason.what());
    }
}

SocketEndpoint publishingEndpoint(const std::string& publish, const SocketEndpoint& events) {
    if (!publish.empty()) {
        return endpointFor("--publish", publish);
    }
    try {
        return publishingEndpointFor(events);
    } catch (const std::invalid_argument& reason) {
        throw CLI::ValidationError("--publish", reason.what());
    }
}

GatewayOptions optionsFrom(const std::string& events, const std::string& publish,
                           const std::string& requests) {
    const auto eventsEndpoint = endpointFor("--events", events);
    return {eventsEndpoint, publishingEndpoint(publish, eventsEndpoint),
            endpointFor("--requests", requests)};
}

}  // namespace

std::optional<GatewayOptions> parseGatewayOptions(int argc, const char* const* argv,
                                                  std::ostream& out, std::ostream& err,
                                                  int& exitStatus) {
    std::string events = "ipc:///tmp/events";
    std::string publish;
    std::string requests = "ipc:///tmp/requests";
    CLI::App app("Receives the service's events and publishes them to any number of subscribers.",
                 "tarnGateway");
    app.add_option("--events", events, "The service's events endpoint, which is bound here")
        ->capture_default_str();
    app.add_option("--publish", publish,
                   "Where subscribers connect; unless given, the events endpoint with \".pub\" "
                   "behind it, or the port after it");
    app.add_option("--requests", requests,
                   "The service's requests endpoint, where its tree is asked for")
        ->capture_default_str();
    app.set_version_flag("--version", "tarnGateway " TARN_VERSION);
    try {
        app.parse(argc, argv);
        return optionsFrom(events, publish, requests);
    } catch (const CLI::Success& asked) {
        app.exit(asked, out, out);
        exitStatus = 0;
    } catch (const CLI::ParseError& error) {
        err << "tarnGateway: " << utils::printable(error.what(), 400) << " (see tarnGateway --help)"
            << std::endl;
        exitStatus = usageError;
    }
    return std::nullopt;
}

}  // namespace tarn::gateway
