#include "platform/storage_client/connection/Connecting.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

#include "platform/os/TrustedListener.h"
#include "platform/storage_client/connection/Credentials.h"
#include "platform/storage_client/connection/Failure.h"
#include "platform/storage_client/connection/HostLookup.h"
#include "platform/storage_wire/SendBuffer.h"

namespace tarn::storage_client {

namespace {

constexpr int pauseBetweenTries = 10;

[[noreturn]] void failConnect(const std::string& peer, int error) {
    throw Failure(error == ETIMEDOUT ? TARN_STORAGE_ERROR_TIMEOUT : TARN_STORAGE_ERROR_CONNECTION,
                  "Cannot connect to " + peer + ": " + std::generic_category().message(error));
}

os::FileDescriptor openSocket(int family, const std::string& peer) {
    os::FileDescriptor opened(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!opened.isOpen()) {
        failConnect(peer, errno);
    }
    return opened;
}

void checkIsTrusted(const std::string& path, const std::optional<std::string>& why) {
    if (why) {
        throw Failure(TARN_STORAGE_ERROR_CONNECTION, "Cannot connect to " + path + ": " + *why);
    }
}

// errno of the attempt, 0 when it is connected.
int waitForConnect(int socket, const os::Deadline& deadline) {
    pollfd ready{.fd = socket, .events = POLLOUT, .revents = 0};
    while (::poll(&ready, 1, static_cast<int>(deadline.remaining().count())) <= 0) {
        if (deadline.hasPassed()) {
            return ETIMEDOUT;
        }
    }
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

// A full queue of a Unix socket refuses at once: it is tried again until the deadline.
// Not through the C library: a program whose own connections are guarded (os::ConnectGuard) trusts
// fewer users than one trusts as a loop storage.
int tryConnect(int socket, const sockaddr* address, socklen_t size, const os::Deadline& deadline) {
    while (::syscall(SYS_connect, socket, address, size) != 0) {
        if (errno == EINPROGRESS) {
            return waitForConnect(socket, deadline);
        }
        if (errno != EAGAIN && errno != EINTR) {
            return errno;
        }
        if (deadline.hasPassed()) {
            return ETIMEDOUT;
        }
        ::poll(nullptr, 0, pauseBetweenTries);
    }
    return 0;
}

std::unique_ptr<Stream> connectedStream(int family, const sockaddr* address, socklen_t size,
                                        const std::string& peer, const os::Deadline& deadline) {
    auto opened = openSocket(family, peer);
    const int number = opened.get();
    auto stream = std::make_unique<Stream>(std::move(opened), peer);
    if (const int error = tryConnect(number, address, size, deadline)) {
        failConnect(peer, error);
    }
    checkIsTrusted(peer, os::whyNotTrusted(number, os::storageUser));
    storage_wire::makeSendBufferLarge(number);
    return stream;
}

}  // namespace

std::unique_ptr<Stream> connectTcp(const std::string& host, std::uint16_t port,
                                   const std::optional<Protection>& protection,
                                   const os::Deadline& deadline) {
    const auto peer = nameOfServer(host, port);
    const auto addresses = lookUpHost(host, port, deadline);
    for (const addrinfo* address = addresses.get();; address = address->ai_next) {
        try {
            auto stream = connectedStream(address->ai_family, address->ai_addr, address->ai_addrlen,
                                          peer, deadline);
            if (protection) {
                stream->protect(*protection, deadline);
            }
            return stream;
        } catch (const Failure&) {
            if (address->ai_next == nullptr || deadline.hasPassed()) {
                throw;
            }
        }
    }
}

std::unique_ptr<Stream> connectUnix(const std::string& path, const os::Deadline& deadline) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "The path of a socket has 1 to " +
                                                       std::to_string(sizeof address.sun_path - 1) +
                                                       " bytes, not " +
                                                       std::to_string(path.size()));
    }
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const generic = &address;
    checkIsTrusted(path, os::whyNotTrusted(path, os::storageUser));
    return connectedStream(AF_UNIX, static_cast<const sockaddr*>(generic), sizeof address, path,
                           deadline);
}

}  // namespace tarn::storage_client
