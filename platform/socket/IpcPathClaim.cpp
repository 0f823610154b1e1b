#include "platform/socket/IpcPathClaim.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace tarn::socket {

namespace {

/// An address of a socket, either a path or a name that is no file.
struct Address {
    explicit Address(std::string_view text) {
        text.copy(address.sun_path, sizeof(address.sun_path) - 1);
        size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
    }
    const sockaddr* get() const {
        return static_cast<const sockaddr*>(static_cast<const void*>(&address));
    }

    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    socklen_t size;
};

[[noreturn]] void fail(const std::string& action) {
    throw std::runtime_error(action + ": " + std::generic_category().message(errno));
}

[[noreturn]] void failInUse(const std::string& by) {
    throw std::runtime_error("address already in use, " + by);
}

int makeSocket() {
    const int number = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (number < 0) {
        fail("cannot make a socket");
    }
    return number;
}

/// errno, or 0.
int connectTo(const std::string& path, const os::FileDescriptor& caller) {
    const Address address(path);
    return ::connect(caller.get(), address.get(), address.size) == 0 ? 0 : errno;
}

/// A name that only one socket on the machine can have, and that vanishes with it. A path that is
/// too long for it is told apart by its end.
std::string claimName(std::string_view path) {
    constexpr std::string_view prefix("\0tarn.claim:", 12);
    constexpr std::size_t most = sizeof(sockaddr_un::sun_path) - 1 - prefix.size();
    return std::string(prefix).append(path.substr(path.size() - std::min(path.size(), most)));
}

void checkIsFree(const std::string& path) {
    struct stat file {};
    if (::lstat(path.c_str(), &file) != 0) {
        if (errno == ENOENT) {
            return;
        }
        fail("cannot look at the file");
    }
    if (!S_ISSOCK(file.st_mode)) {
        throw std::runtime_error("a file that is no socket is in the way");
    }
    switch (knockOnIpcPath(path)) {
        case ECONNREFUSED:  // left behind
        case ENOENT:        // gone meanwhile
            return;
        case EACCES:
        case EPERM:
            throw std::runtime_error("the socket file belongs to somebody else");
        default:  // accepted, or would be: the queue is full, or it is of another socket type
            failInUse("somebody listens on it");
    }
}

}  // namespace

int knockOnIpcPath(const std::string& path) {
    const os::FileDescriptor caller(makeSocket());
    return connectTo(path, caller);
}

std::optional<pid_t> listenerOnIpcPath(const std::string& path) {
    const os::FileDescriptor caller(makeSocket());
    if (connectTo(path, caller) != 0) {
        return std::nullopt;
    }
    ucred listener{};
    socklen_t size = sizeof listener;
    if (::getsockopt(caller.get(), SOL_SOCKET, SO_PEERCRED, &listener, &size) != 0) {
        fail("cannot ask who listens");
    }
    return listener.pid;
}

IpcPathClaim::IpcPathClaim(const std::string& path) : lock(makeSocket()) {
    const Address name(claimName(path));
    if (::bind(lock.get(), name.get(), name.size) != 0) {
        if (errno == EADDRINUSE) {
            failInUse("somebody is about to listen on it");
        }
        fail("cannot claim the path");
    }
    checkIsFree(path);
}

}  // namespace tarn::socket
