#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <system_error>

#include "cli/doctor/Accounts.h"
#include "cli/doctor/Checks.h"
#include "platform/socket/NobodyListens.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::cli {

namespace {

using socket::SocketEndpoint;

constexpr std::chrono::milliseconds answeredWithin{1000};

/// An endpoint on which a program of the server listens.
struct Place {
    std::string endpoint;
    std::string unit;
};

std::vector<Place> placesOf(const service::configuration::ConfigurationSettings& settings) {
    return {{settings.requestsEndpoint, "halden-tarn"},
            {settings.resourcesEndpoint, "halden-tarn"},
            {settings.eventsEndpoint, "halden-tarn-gateway"}};
}

std::string pathOf(const SocketEndpoint& endpoint) {
    return endpoint.host().starts_with('/') ? endpoint.host() : "/tmp/" + endpoint.host();
}

std::string startOf(const Place& place) {
    return "systemctl start " + place.unit + ", and journalctl -u " + place.unit;
}

bool isOurs(uid_t owner, const Accounts& accounts) {
    return owner == 0 || owner == ::geteuid() || accounts.user("tarn") == owner;
}

void checkListener(const Place& place, const SocketEndpoint& endpoint, Findings& findings) {
    const auto why = socket::whyNobodyListens(endpoint, answeredWithin);
    if (!why) {
        return;
    }
    const bool notLetIn = why->find("nobody listens") == std::string::npos;
    findings.push_back(notLetIn
                           ? Finding{Gravity::Unseen, place.endpoint + ": " + *why,
                                     "ask as root, or as a member of the group tarn-read"}
                           : Finding{Gravity::Error, place.endpoint + ": " + *why, startOf(place)});
}

void checkFile(const Place& place, const SocketEndpoint& endpoint, const Machine& machine,
               Findings& findings) {
    const auto path = pathOf(endpoint);
    const Accounts accounts(machine);
    struct stat state {};
    if (::lstat(machine.at(path).c_str(), &state) != 0) {
        findings.push_back({Gravity::Error,
                            place.endpoint + ": " + std::generic_category().message(errno),
                            startOf(place)});
        return;
    }
    if (!isOurs(state.st_uid, accounts)) {
        findings.push_back(
            {Gravity::Error, path + " was taken by user " + accounts.nameOf(state.st_uid),
             "see what that user runs there, remove the file, then: systemctl restart " +
                 place.unit});
        return;
    }
    if (S_ISFIFO(state.st_mode)) {  // keeps the name while nobody is there
        findings.push_back({Gravity::Error, place.endpoint + ": nobody listens", startOf(place)});
        return;
    }
    if (!S_ISSOCK(state.st_mode)) {
        findings.push_back({Gravity::Error, path + " is no socket",
                            "remove it, then: systemctl restart " + place.unit});
        return;
    }
    checkListener(place, SocketEndpoint(socket::Transport::Ipc, machine.at(path).string(), 0),
                  findings);
}

void checkPlace(const Place& place, const Machine& machine, Findings& findings) {
    try {
        const auto endpoint = SocketEndpoint::FromString(place.endpoint).asPeer();
        if (endpoint.transport() == socket::Transport::Ipc) {
            checkFile(place, endpoint, machine, findings);
        } else {
            checkListener(place, endpoint, findings);
        }
    } catch (const std::invalid_argument&) {
        // Found by the check of the configuration.
    }
}

}  // namespace

Findings checkSockets(const Machine& machine) {
    Findings findings;
    for (const auto& place : placesOf(machine.settings)) {
        checkPlace(place, machine, findings);
    }
    return findings;
}

}  // namespace tarn::cli
