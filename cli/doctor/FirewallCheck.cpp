#include <stdexcept>

#include "cli/doctor/Checks.h"
#include "cli/doctor/FirewallRules.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::cli {

namespace {

using socket::SocketEndpoint;

bool isBeyondThisMachine(const SocketEndpoint& endpoint) {
    const auto& host = endpoint.host();
    return endpoint.transport() == socket::Transport::Tcp && host != "localhost" &&
           host != "[::1]" && !host.starts_with("127.");
}

std::vector<SocketEndpoint> openEndpoints(
    const service::configuration::ConfigurationSettings& settings) {
    std::vector<SocketEndpoint> open;
    for (const auto* text :
         {&settings.requestsEndpoint, &settings.eventsEndpoint, &settings.resourcesEndpoint}) {
        try {
            const auto endpoint = SocketEndpoint::FromString(*text);
            if (isBeyondThisMachine(endpoint)) {
                open.push_back(endpoint);
            }
        } catch (const std::invalid_argument&) {
            // Found by the check of the configuration.
        }
    }
    return open;
}

Finding withoutARule(const SocketEndpoint& endpoint) {
    const auto port = std::to_string(endpoint.port());
    return {Gravity::Warning,
            endpoint.toString(socket::Protocol::None) +
                " can be reached from other machines, and no rule of the firewall says from which",
            "nft add rule inet filter input tcp dport " + port +
                " ip saddr != NETWORK drop, or bind it to 127.0.0.1"};
}

}  // namespace

Findings checkFirewall(const Machine& machine) {
    const auto open = openEndpoints(machine.settings);
    if (open.empty()) {
        return {};
    }
    const auto rules = machine.run({"/usr/sbin/nft", "list", "ruleset"});
    if (!rules || rules->exitStatus != 0) {
        return {{Gravity::Unseen,
                 "the rules of the firewall cannot be seen, and endpoints are open",
                 machine.asRoot ? "apt install nftables" : "run this as root"}};
    }
    Findings findings;
    for (const auto& endpoint : open) {
        if (!saysAnythingOf(endpoint.port(), rules->output)) {
            findings.push_back(withoutARule(endpoint));
        }
    }
    return findings;
}

}  // namespace tarn::cli
