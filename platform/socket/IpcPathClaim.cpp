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

[[noreturn]] void fail(const std::string& action) {
    throw std::runtime_error(action + ": " + std::generic_category().message(errno));
}

[[noreturn]] void failInUse(const std::string& by) {
    throw std::runtime_error("address already in use, " + by);
}

os::FileDescriptor makeSocket() {
    os::FileDescriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!made.isOpen()) {
        fail("cannot make a socket");
    }
    return made;
}

/// errno, or 0.
int connectTo(const std::string& path, const os::FileDescriptor& caller) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (path.size() >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    path.copy(address.sun_path, path.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    const void* const generic = &address;
    return ::connect(caller.get(), static_cast<const sockaddr*>(generic), size) == 0 ? 0 : errno;
}

/// A path that is too long for the name of a claim is told apart by its end.
os::NameClaim claim(std::string_view path) {
    constexpr std::string_view prefix("tarn.claim:");
    const auto length = std::min(path.size(), os::NameClaim::longestName - prefix.size());
    const auto name = std::string(prefix).append(path.substr(path.size() - length));
    if (auto taken = os::NameClaim::TryTake(name)) {
        return std::move(*taken);
    }
    failInUse("somebody is about to listen on it");
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
    const auto caller = makeSocket();
    return connectTo(path, caller);
}

std::optional<pid_t> listenerOnIpcPath(const std::string& path) {
    const auto caller = makeSocket();
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

IpcPathClaim::IpcPathClaim(const std::string& path) : name(claim(path)) {
    checkIsFree(path);
}

}  // namespace tarn::socket
