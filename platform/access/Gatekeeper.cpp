#include "platform/access/Gatekeeper.h"

#include <utility>

#include "platform/access/ClientKeys.h"
#include "platform/access/Refusal.h"
#include "platform/utils/Printable.h"

namespace tarn::access {

namespace {

constexpr auto denied = "Access denied: ";

std::string reasonOf(Level needed, std::string_view who, Level has) {
    return "this needs the level " + std::string(nameOf(needed)) + ", and " + std::string(who) +
           " has " + std::string(nameOf(has));
}

std::string described(const socket::Peer& peer) {
    if (peer.user) {
        return "user " + std::to_string(peer.user->user);
    }
    return peer.key.empty() ? "who asks" : "key " + utils::printable(peer.key);
}

}  // namespace

// Over IPC whoever is not known has no level.
Level levelOf(const socket::Peer& peer) {
    if (peer.transport == socket::Transport::Ipc) {
        return peer.user ? levelOf(*peer.user) : Level::None;
    }
    // Where keys are asked for, nobody gets so far over TCP who has not proved one.
    const bool hasKey = peer.transport == socket::Transport::Tcp && !peer.key.empty();
    return hasKey ? levelOfKey(peer.key) : Level::Admin;
}

bool isOwnProgram(const socket::Peer& peer) {
    if (peer.transport == socket::Transport::Ipc) {
        return peer.user && isTrusted(*peer.user);
    }
    return levelOf(peer) == Level::Admin;
}

std::string textOfRefusal(Level needed, std::string_view who, Level has) {
    return denied + reasonOf(needed, who, has);
}

Gatekeeper::Gatekeeper(std::string header, utils::RepeatedFailure::Now now)
    : header(std::move(header)), refused(utils::LogLevel::Warning, std::move(now)) {}

std::optional<std::string> Gatekeeper::refusal(Level needed, const socket::Peer& sender,
                                               std::string_view request) {
    const auto level = levelOf(sender);
    if (level >= needed) {
        return std::nullopt;
    }
    return refuse(reasonOf(needed, described(sender), level), request);
}

std::optional<std::string> Gatekeeper::refusalOfOthers(const socket::Peer& sender,
                                                       std::string_view request) {
    if (isOwnProgram(sender)) {
        return std::nullopt;
    }
    return refuse(
        "this is for the service's own programs, and " + described(sender) + " is another",
        request);
}

std::string Gatekeeper::refuse(const std::string& reason, std::string_view request) {
    const auto text = denied + reason;
    refused.log(header + std::string(request) + ": " + text);
    return text;
}

}  // namespace tarn::access
