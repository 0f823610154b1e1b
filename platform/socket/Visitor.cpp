#include "platform/socket/Visitor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace tarn::socket {

namespace {

std::optional<Visitor> counted(uid_t user) {
    return user == 0 || user == ::geteuid() ? std::nullopt : std::optional(Visitor::OfUser(user));
}

std::optional<Visitor> userOn(int connection) {
    ucred peer{};
    socklen_t size = sizeof peer;
    const bool isKnown = ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    return isKnown ? counted(peer.uid) : std::nullopt;
}

std::optional<Visitor> hostAt(const in_addr& address) {
    constexpr std::uint32_t loopbackNetwork = 127;
    if (ntohl(address.s_addr) >> 24U == loopbackNetwork) {
        return std::nullopt;
    }
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &address, text.data(), text.size());
    return Visitor::AtAddress(text.data());
}

// Who has one address of the new family has at least the 2^64 of its network.
std::optional<Visitor> hostAt(in6_addr address) {
    if (IN6_IS_ADDR_V4MAPPED(&address)) {
        in_addr old{};
        std::memcpy(&old, address.s6_addr + 12, sizeof old);
        return hostAt(old);
    }
    if (IN6_IS_ADDR_LOOPBACK(&address)) {
        return std::nullopt;
    }
    std::memset(address.s6_addr + 8, 0, 8);
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET6, &address, text.data(), text.size());
    return Visitor::AtAddress(text.data());
}

}  // namespace

std::string Visitor::describe() const {
    switch (kind) {
        case Kind::User:
            return "user " + std::to_string(user);
        case Kind::Address:
            return "address " + text;
        case Kind::Key:
            return "key " + text;
    }
    return {};
}

std::optional<Visitor> visitorOn(int connection) {
    sockaddr_storage peer{};
    socklen_t size = sizeof peer;
    void* const generic = &peer;
    if (::getpeername(connection, static_cast<sockaddr*>(generic), &size) != 0) {
        return std::nullopt;
    }
    switch (peer.ss_family) {
        case AF_UNIX:
            return userOn(connection);
        case AF_INET:
            return hostAt(static_cast<const sockaddr_in*>(generic)->sin_addr);
        case AF_INET6:
            return hostAt(static_cast<const sockaddr_in6*>(generic)->sin6_addr);
        default:
            return std::nullopt;
    }
}

std::optional<Visitor> visitorOf(const Peer& sender) {
    if (!sender.key.empty()) {
        return Visitor{.kind = Visitor::Kind::Key, .text = sender.key};
    }
    in_addr old{};
    in6_addr address{};
    switch (sender.transport) {
        case Transport::Ipc:
            return sender.user ? counted(sender.user->user) : std::nullopt;
        case Transport::Tcp:
            if (::inet_pton(AF_INET, sender.address.c_str(), &old) == 1) {
                return hostAt(old);
            }
            return ::inet_pton(AF_INET6, sender.address.c_str(), &address) == 1 ? hostAt(address)
                                                                                : std::nullopt;
        case Transport::InProcess:
            break;
    }
    return std::nullopt;
}

}  // namespace tarn::socket
