#include "peers/loop_storage/server/PeerName.h"

#include <netdb.h>
#include <sys/socket.h>

#include <array>

namespace tarn::peers::loop_storage {

namespace {

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

}  // namespace

std::string peerNameOf(int socket) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    if (::getpeername(socket, generic, &size) != 0) {
        return "";
    }
    return address.ss_family == AF_UNIX ? processNameOf(socket) : addressTextOf(*generic, size);
}

}  // namespace tarn::peers::loop_storage
