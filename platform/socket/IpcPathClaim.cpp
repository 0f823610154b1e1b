#include "platform/socket/IpcPathClaim.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "platform/os/FileDescriptor.h"
#include "platform/os/TrustedListener.h"
#include "platform/os/UserName.h"
#include "platform/socket/KeptIpcName.h"

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

os::NameClaim claim(const std::string& path) {
    if (auto taken = os::NameClaim::TryTake("ipc:" + path)) {
        return std::move(*taken);
    }
    failInUse("somebody is about to listen on it");
}

[[noreturn]] void failTaken(const std::string& what, uid_t owner) {
    throw std::runtime_error(what + "; it belongs to " + os::describeUser(owner) +
                             ": end what made it, and remove it as that user or as root");
}

// In a folder like /tmp only the owner of a file removes it.
bool mayRemove(const std::string& path, const struct stat& file) {
    struct stat folder {};
    const auto parent = std::filesystem::path(path).parent_path();
    const auto self = ::geteuid();
    return self == 0 || file.st_uid == self || ::stat(parent.c_str(), &folder) != 0 ||
           (folder.st_mode & S_ISVTX) == 0 || folder.st_uid == self;
}

// A pipe that was made before anybody else could take the name: it holds nothing.
bool isKept(const struct stat& file) {
    const auto self = ::geteuid();
    return S_ISFIFO(file.st_mode) &&
           (file.st_uid == self || (self == 0 && os::isTrustedListener(file.st_uid)));
}

void checkIsFree(const std::string& path) {
    struct stat file {};
    if (::lstat(path.c_str(), &file) != 0) {
        if (errno == ENOENT) {
            return;
        }
        fail("cannot look at the file");
    }
    if (isKept(file)) {
        if ((file.st_mode & S_IWUSR) != 0) {
            NamesKeptForGood::Note(path);
        }
        return;
    }
    if (!S_ISSOCK(file.st_mode)) {
        failTaken("a file that is no socket is in the way", file.st_uid);
    }
    if (!os::isTrustedListener(file.st_uid) || !mayRemove(path, file)) {
        failTaken("a socket is in the way", file.st_uid);
    }
    switch (knockOnIpcPath(path)) {
        case ECONNREFUSED:  // left behind
        case ENOENT:        // gone meanwhile
            return;
        case EACCES:
        case EPERM:
            failTaken("a socket is in the way", file.st_uid);
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
