#include "platform/os/ConnectGuard.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>

#include "platform/os/TrustedListener.h"

namespace tarn::os {

namespace {

std::atomic<ConnectGuard::Report> reportTo = nullptr;

int connectUnguarded(int socket, const sockaddr* address, socklen_t size) {
    return static_cast<int>(::syscall(SYS_connect, socket, address, size));
}

bool isConnectionOriented(int socket) {
    int type = 0;
    socklen_t size = sizeof type;
    return ::getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &size) == 0 &&
           (type == SOCK_STREAM || type == SOCK_SEQPACKET);
}

// Empty where there is none.
std::string pathIn(const sockaddr* address, socklen_t size) {
    constexpr auto begin = offsetof(sockaddr_un, sun_path);
    if (address == nullptr || size <= begin || address->sa_family != AF_UNIX) {
        return {};
    }
    const void* const generic = address;
    const char* const path = static_cast<const char*>(generic) + begin;
    return {path, ::strnlen(path, std::min<std::size_t>(size, sizeof(sockaddr_un)) - begin)};
}

int refuse(ConnectGuard::Report report, const std::string& path, const std::string& why) {
    report(path, why);
    errno = EACCES;
    return -1;
}

int connectToTrusted(int socket, const sockaddr* address, socklen_t size) {
    const auto report = reportTo.load();
    const auto path = pathIn(address, size);
    if (report == nullptr || path.empty() || !isConnectionOriented(socket)) {
        return connectUnguarded(socket, address, size);
    }
    // Where no file is yet, a link could come before the connection: it is tried again instead.
    struct stat file {};
    if (::lstat(path.c_str(), &file) != 0) {
        return -1;
    }
    if (const auto why = whyOwnerNotTrusted(file.st_uid)) {
        return refuse(report, path, *why);
    }
    if (connectUnguarded(socket, address, size) != 0) {
        return -1;
    }
    if (const auto why = whyNotTrusted(socket)) {
        ::shutdown(socket, SHUT_RDWR);
        return refuse(report, path, *why);
    }
    return 0;
}

}  // namespace

void ConnectGuard::Install(Report report) {
    reportTo = report;
}

}  // namespace tarn::os

// In the place of the C library's function.
extern "C" int connect(int socket, const sockaddr* address, socklen_t size) {
    return tarn::os::connectToTrusted(socket, address, size);
}
