#include "peers/loop_storage/server/PeerName.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>

namespace tarn::peers::loop_storage {

namespace {

struct PeerAddress {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;

    sockaddr* generic() { return static_cast<sockaddr*>(static_cast<void*>(&storage)); }
    template <typename Address>
    const Address& as() const {
        return *static_cast<const Address*>(static_cast<const void*>(&storage));
    }
};

bool look(int socket, PeerAddress& address) {
    return ::getpeername(socket, address.generic(), &address.size) == 0;
}

std::string processNameOf(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    const bool isKnown = ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0;
    return isKnown ? "process " + std::to_string(peer.pid) : "";
}

std::string addressTextOf(const sockaddr& address, socklen_t size) {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (::getnameinfo(&address, size, host.data(), host.size(), port.data(), port.size(),
                      NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "";
    }
    const std::string name = host.data();
    return (address.sa_family == AF_INET6 ? "[" + name + "]" : name) + ":" + port.data();
}

std::string bytesOf(const void* begin, std::size_t size) {
    return {static_cast<const char*>(begin), size};
}

}  // namespace

std::string peerNameOf(int socket) {
    PeerAddress address;
    if (!look(socket, address)) {
        return "";
    }
    return address.storage.ss_family == AF_UNIX ? processNameOf(socket)
                                                : addressTextOf(*address.generic(), address.size);
}

// One of IPv4 that came to a socket of IPv6 is told by the other half.
std::string peerNetworkOf(int socket) {
    PeerAddress address;
    if (!look(socket, address)) {
        return "";
    }
    if (address.storage.ss_family == AF_INET) {
        const auto& number = address.as<sockaddr_in>().sin_addr;
        return bytesOf(&number, sizeof number);
    }
    if (address.storage.ss_family == AF_INET6) {
        const auto& number = address.as<sockaddr_in6>().sin6_addr;
        return bytesOf(&number, IN6_IS_ADDR_V4MAPPED(&number) ? sizeof number : sizeof number / 2);
    }
    return "";
}

}  // namespace tarn::peers::loop_storage
