#include "platform/socket/curve/KeyConnections.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

#include "platform/os/FileDescriptor.h"

namespace tarn::socket::curve {

namespace {

std::optional<std::uint64_t> connectionOf(int descriptor) {
    std::uint64_t number = 0;
    socklen_t size = sizeof number;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_COOKIE, &number, &size) == 0
               ? std::optional(number)
               : std::nullopt;
}

// Of a TCP connection; nothing for any other descriptor, and for one that only listens.
std::optional<std::uint16_t> localPortOf(int descriptor) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return std::nullopt;
    }
    size = sizeof address;
    if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return std::nullopt;
    }
    switch (address.ss_family) {
        case AF_INET:
            return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
        case AF_INET6:
            return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
        default:
            return std::nullopt;
    }
}

std::vector<int> openDescriptors() {
    std::vector<int> all;
    std::error_code unreadable;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", unreadable)) {
        all.push_back(std::atoi(entry.path().filename().c_str()));
    }
    return all;
}

}  // namespace

void KeyConnections::addPort(std::uint16_t port, Entrance entrance) {
    known.lock()->ports[port] = entrance;
}

void KeyConnections::note(int descriptor, const std::string& key) {
    if (const auto connection = connectionOf(descriptor)) {
        auto& sender = known.lock()->senders[descriptor];
        if (sender.connection != *connection) {
            sender = {*connection, key};
        }
    }
}

std::size_t KeyConnections::endUnless(const IsKept& isKept) {
    std::size_t ended = 0;
    for (const int descriptor : openDescriptors()) {
        ended += endUnless(isKept, descriptor) ? 1 : 0;
    }
    return ended;
}

// Looked at and ended by a descriptor of our own: the other may be closed and used again meanwhile.
bool KeyConnections::endUnless(const IsKept& isKept, int descriptor) {
    const os::FileDescriptor mine(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    const auto port = localPortOf(mine.get());
    if (!port) {
        return false;
    }
    {
        const auto connection = connectionOf(mine.get());
        auto locked = known.lock();
        const auto entrance = locked->ports.find(*port);
        if (entrance == locked->ports.end()) {
            return false;
        }
        const auto sender = locked->senders.find(descriptor);
        if (sender != locked->senders.end() && sender->second.connection == connection &&
            isKept(sender->second.key, entrance->second)) {
            return false;
        }
    }
    return ::shutdown(mine.get(), SHUT_RDWR) == 0;
}

}  // namespace tarn::socket::curve
