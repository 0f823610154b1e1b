// Whether a process has the very socket that answers on an endpoint: asked of the endpoint itself
// and of /proc.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/os/FileDescriptor.h"
#include "platform/socket/IpcPathClaim.h"
#include "platform/socket/SocketEndpoint.h"
#include "service/devices/capture/ProcessControl.h"
#include "service/devices/capture/SocketTables.h"

namespace tarn::service::devices {

namespace {

namespace fs = std::filesystem;
using Holding = ProcessControl::Holding;

constexpr int connectWithinMs = 500;

// Throws when the process is gone, or not ours to look into.
bool hasOneOf(pid_t id, const SocketLinks& links) {
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(id) + "/fd")) {
        std::error_code closedMeanwhile;
        if (links.contains(fs::read_symlink(entry.path(), closedMeanwhile).string())) {
            return true;
        }
    }
    return false;
}

Holding holdsOneOf(pid_t id, const SocketLinks& links) {
    if (links.empty()) {
        return Holding::Unknown;
    }
    return hasOneOf(id, links) ? Holding::Holds : Holding::HoldsNot;
}

std::string pathOf(const socket::SocketEndpoint& endpoint) {
    constexpr std::string_view scheme = "ipc://";
    return endpoint.toString(socket::Protocol::None).substr(scheme.size());
}

// The path alone proves nothing: another process may have bound the same one in a file system of
// its own. Nor does the listener's id, which may be another process's by now. Both together do.
Holding holdsIpc(pid_t id, const socket::SocketEndpoint& endpoint) {
    const auto path = pathOf(endpoint);
    const auto listener = socket::listenerOnIpcPath(path);
    if (!listener) {
        return Holding::Unknown;
    }
    return *listener == id ? holdsOneOf(id, ipcSocketsAt(path, id)) : Holding::HoldsNot;
}

/// An address of a socket. Names are not looked up: that may take long, and who has to be asked for
/// them is hardly on this machine.
struct Address {
    static std::optional<Address> of(const socket::SocketEndpoint& endpoint);
    sockaddr* get() { return static_cast<sockaddr*>(static_cast<void*>(&storage)); }

    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
};

template <typename T>
Address addressFrom(const T& specific) {
    Address address;
    std::memcpy(&address.storage, &specific, sizeof specific);
    address.size = sizeof specific;
    return address;
}

std::optional<Address> Address::of(const socket::SocketEndpoint& endpoint) {
    std::string host = endpoint.asPeer().host();
    if (host == "localhost") {
        host = "127.0.0.1";
    }
    sockaddr_in ipv4{};
    ipv4.sin_family = AF_INET;
    ipv4.sin_port = htons(endpoint.port());
    if (::inet_pton(AF_INET, host.c_str(), &ipv4.sin_addr) == 1) {
        return addressFrom(ipv4);
    }
    sockaddr_in6 ipv6{};
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_port = htons(endpoint.port());
    if (host.starts_with('[') &&
        ::inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &ipv6.sin6_addr) == 1) {
        return addressFrom(ipv6);
    }
    return std::nullopt;
}

bool connects(const os::FileDescriptor& caller, Address& server) {
    if (::connect(caller.get(), server.get(), server.size) == 0) {
        return true;
    }
    pollfd ready{.fd = caller.get(), .events = POLLOUT, .revents = 0};
    int failure = 0;
    socklen_t size = sizeof failure;
    return errno == EINPROGRESS && ::poll(&ready, 1, connectWithinMs) == 1 &&
           ::getsockopt(caller.get(), SOL_SOCKET, SO_ERROR, &failure, &size) == 0 && failure == 0;
}

// The other end of a connection of our own must be in the tables that the process sees.
Holding holdsTcp(pid_t id, const socket::SocketEndpoint& endpoint) {
    auto server = Address::of(endpoint);
    if (!server) {
        return Holding::Unknown;
    }
    const os::FileDescriptor caller(::socket(
        server->storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    Address its;
    Address ours;
    if (!connects(caller, *server) || ::getpeername(caller.get(), its.get(), &its.size) != 0 ||
        ::getsockname(caller.get(), ours.get(), &ours.size) != 0) {
        return Holding::Unknown;
    }
    return holdsOneOf(
        id, tcpListenersOf({TableAddress::of(its.storage), TableAddress::of(ours.storage)}, id));
}

}  // namespace

Holding RealProcessControl::holds(pid_t id, const socket::SocketEndpoint& endpoint) {
    try {
        switch (endpoint.transport()) {
            case socket::Transport::Ipc:
                return holdsIpc(id, endpoint);
            case socket::Transport::Tcp:
                return holdsTcp(id, endpoint);
            case socket::Transport::InProcess:
                break;
        }
    } catch (const std::exception&) {  // gone, or not ours to look into
    }
    return Holding::Unknown;
}

}  // namespace tarn::service::devices
