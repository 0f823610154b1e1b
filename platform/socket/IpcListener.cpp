#include "platform/socket/IpcListener.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <system_error>

#include "platform/os/GroupFile.h"
#include "platform/socket/IpcFile.h"

namespace tarn::socket {

namespace {

constexpr mode_t forOwner = 0600;
constexpr mode_t forGroup = 0660;

void check(bool done, const char* action) {
    if (!done) {
        throw std::runtime_error(std::string(action) + ": " +
                                 std::generic_category().message(errno));
    }
}

void bindTo(const std::string& path, const os::FileDescriptor& socket) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    errno = ENAMETOOLONG;
    check(path.size() < sizeof address.sun_path, "cannot make the socket file");
    path.copy(address.sun_path, path.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
    const void* const generic = &address;
    check(::bind(socket.get(), static_cast<const sockaddr*>(generic), size) == 0,
          "cannot make the socket file");
}

// The mode of a socket that is not bound yet is that of the file that binding makes, less the
// process's mask, which all threads share and so is left alone.
os::FileDescriptor bindClosed(const std::string& path) {
    os::FileDescriptor bound(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    check(bound.isOpen(), "cannot make a socket");
    check(::fchmod(bound.get(), forOwner) == 0, "cannot close the socket to others");
    check(::unlink(path.c_str()) == 0 || errno == ENOENT,
          "cannot remove the socket file that somebody left behind");
    bindTo(path, bound);
    return bound;
}

// Through a descriptor: should the path lead elsewhere by now, nothing else is opened to anybody.
void openToClients(const std::string& path) {
    const auto group = os::groupIdOf(groupOfClients);
    const os::FileDescriptor file(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat is {};
    if (!group || !file.isOpen() || ::fstat(file.get(), &is) != 0 || !S_ISSOCK(is.st_mode) ||
        is.st_uid != ::geteuid()) {
        return;
    }
    if (::fchownat(file.get(), "", static_cast<uid_t>(-1), *group, AT_EMPTY_PATH) == 0) {
        ::chmod(("/proc/self/fd/" + std::to_string(file.get())).c_str(), forGroup);
    }
}

}  // namespace

os::FileDescriptor listenOnIpcPath(const std::string& path, Audience audience, int backlog) {
    auto listener = bindClosed(path);
    if (audience == Audience::Clients) {
        openToClients(path);
    }
    if (::listen(listener.get(), backlog) != 0) {
        const auto reason = std::generic_category().message(errno);
        IpcFile(path).remove();
        throw std::runtime_error("cannot listen: " + reason);
    }
    return listener;
}

}  // namespace tarn::socket
