#include "tests/chaos/machine/IdleConnections.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::chaos {

namespace {

// A listener that takes no more leaves a connection in its queue, or refuses it.
constexpr int longestAttemptMs = 500;

struct Address {
    sockaddr_storage bytes{};
    socklen_t size = 0;

    const sockaddr* generic() const { return reinterpret_cast<const sockaddr*>(&bytes); }
};

Address fileAddress(const std::string& path) {
    sockaddr_un file{};
    file.sun_family = AF_UNIX;
    if (path.size() >= sizeof file.sun_path) {
        throw std::runtime_error(path + " is too long for a socket");
    }
    path.copy(file.sun_path, path.size());
    Address address{.bytes = {}, .size = sizeof file};
    std::memcpy(&address.bytes, &file, sizeof file);
    return address;
}

Address portAddress(const std::string& host, std::uint16_t port) {
    sockaddr_in inet{};
    inet.sin_family = AF_INET;
    inet.sin_port = htons(port);
    if (::inet_pton(AF_INET, host.c_str(), &inet.sin_addr) != 1) {
        throw std::runtime_error(host + " is no address");
    }
    Address address{.bytes = {}, .size = sizeof inet};
    std::memcpy(&address.bytes, &inet, sizeof inet);
    return address;
}

Address addressOf(const std::string& endpointText) {
    const std::string file = "ipc://";
    if (endpointText.starts_with(file)) {
        return fileAddress(endpointText.substr(file.size()));
    }
    const auto endpoint = socket::SocketEndpoint::FromString(endpointText);
    return portAddress(endpoint.host(), endpoint.port());
}

bool isDone(int connection) {
    pollfd writable{.fd = connection, .events = POLLOUT, .revents = 0};
    int problem = 0;
    socklen_t size = sizeof problem;
    return ::poll(&writable, 1, longestAttemptMs) == 1 &&
           ::getsockopt(connection, SOL_SOCKET, SO_ERROR, &problem, &size) == 0 && problem == 0;
}

// Not open when there was no getting in.
os::FileDescriptor connectionTo(const Address& address) {
    os::FileDescriptor connection(
        ::socket(address.bytes.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!connection.isOpen()) {
        return connection;
    }
    const bool begun =
        ::connect(connection.get(), address.generic(), address.size) == 0 || errno == EINPROGRESS;
    return begun && isDone(connection.get()) ? std::move(connection) : os::FileDescriptor();
}

// The queue of a socket file is short, and whoever accepts needs a moment.
os::FileDescriptor patientConnectionTo(const Address& address) {
    constexpr int attempts = 20;
    constexpr int betweenAttemptsMs = 10;
    auto connection = connectionTo(address);
    for (int attempt = 1; attempt < attempts && !connection.isOpen(); ++attempt) {
        ::poll(nullptr, 0, betweenAttemptsMs);
        connection = connectionTo(address);
    }
    return connection;
}

}  // namespace

IdleConnections::IdleConnections(const std::string& endpoint, std::size_t most) {
    const auto address = addressOf(endpoint);
    while (connections.size() < most) {
        auto connection = patientConnectionTo(address);
        if (!connection.isOpen()) {
            return;
        }
        connections.push_back(std::move(connection));
    }
}

}  // namespace tarn::chaos
