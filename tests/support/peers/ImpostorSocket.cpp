#include "tests/support/peers/ImpostorSocket.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace tarn::test {

namespace {

void check(bool done, const char* what) {
    if (!done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

// The system's own call changes this thread alone, the C library's all of them.
void becomeEffectively(uid_t user) {
    constexpr auto unchanged = static_cast<uid_t>(-1);
    check(::syscall(SYS_setresuid, unchanged, user, unchanged) == 0, "setresuid");
}

void bindTo(const os::FileDescriptor& socket, const std::string& path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const generic = &address;
    check(::bind(socket.get(), static_cast<const sockaddr*>(generic), sizeof address) == 0, "bind");
}

// All that has come, and what comes within a moment: long enough for what is on its way.
std::string readAll(const os::FileDescriptor& connection) {
    constexpr timeval moment{.tv_sec = 0, .tv_usec = 50'000};
    ::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &moment, sizeof moment);
    std::string all;
    std::array<char, 4096> part{};
    for (ssize_t size = 0; (size = ::recv(connection.get(), part.data(), part.size(), 0)) > 0;) {
        all.append(part.data(), static_cast<std::size_t>(size));
    }
    return all;
}

}  // namespace

void asUser(uid_t user, const std::function<void()>& work) {
    const auto self = ::geteuid();
    becomeEffectively(user);
    try {
        work();
    } catch (...) {
        becomeEffectively(self);
        throw;
    }
    becomeEffectively(self);
}

ImpostorSocket::ImpostorSocket(std::string path, File file, uid_t impostor)
    : path(std::move(path)),
      listening(os::checkedDescriptor(
          ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket")) {
    if (file == File::Ours) {
        bindTo(listening, this->path);
    }
    asUser(impostor, [&] {
        if (file == File::Impostors) {
            bindTo(listening, this->path);
        }
        check(::listen(listening.get(), 100) == 0, "listen");
    });
}

ImpostorSocket::~ImpostorSocket() {
    ::unlink(path.c_str());
}

std::string ImpostorSocket::loot() const {
    std::string all;
    while (true) {
        const os::FileDescriptor connection(::accept(listening.get(), nullptr, nullptr));
        if (!connection.isOpen()) {
            return all;
        }
        all += readAll(connection);
    }
}

}  // namespace tarn::test
