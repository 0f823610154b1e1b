#include "gateway/Readiness.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/utils/Log.h"

namespace tarn::gateway {

namespace {

// By hand: libsystemd brings seven libraries, a millisecond at the start and a megabyte of memory.
constexpr std::string_view ready = "READY=1";

// An address that begins with "@" is no file: it has a zero byte there.
bool send(std::string_view path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    address.sun_family = AF_UNIX;
    std::copy(path.begin(), path.end(), address.sun_path);
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    const int number = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (number < 0) {
        return false;
    }
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    const void* const given = &address;
    const auto sent = ::sendto(number, ready.data(), ready.size(), MSG_NOSIGNAL,
                               static_cast<const sockaddr*>(given), size);
    const int reason = errno;
    ::close(number);
    errno = reason;
    return sent == static_cast<ssize_t>(ready.size());
}

}  // namespace

void announceReadiness() {
    const char* const path = std::getenv("NOTIFY_SOCKET");
    if (path != nullptr && *path != '\0' && !send(path)) {
        utils::logWarning("Gateway > the service manager cannot be told: " +
                          std::generic_category().message(errno));
    }
}

}  // namespace tarn::gateway
