#include "platform/os/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

namespace {

constexpr auto addressVariable = "NOTIFY_SOCKET";
constexpr auto patienceVariable = "WATCHDOG_USEC";
constexpr auto watchedVariable = "WATCHDOG_PID";

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::optional<long long> number(const std::string& text) {
    long long value = 0;
    const auto end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, value);
    return read.ec == std::errc() && read.ptr == end ? std::optional(value) : std::nullopt;
}

// An address that begins with "@" is no file: it has a zero byte there.
std::optional<sockaddr_un> socketAddress(std::string_view path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return std::nullopt;
    }
    address.sun_family = AF_UNIX;
    std::copy(path.begin(), path.end(), address.sun_path);
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    return address;
}

}  // namespace

ServiceManager ServiceManager::takenFromEnvironment() {
    ServiceManager manager = fromEnvironment();
    for (const auto name : {addressVariable, patienceVariable, watchedVariable}) {
        ::unsetenv(name);
    }
    return manager;
}

ServiceManager ServiceManager::fromEnvironment() {
    ServiceManager manager;
    manager.address = variable(addressVariable);
    const auto watched = number(variable(patienceVariable));
    const auto whom = variable(watchedVariable);
    if (watched && *watched > 0 && (whom.empty() || number(whom) == ::getpid())) {
        manager.patience = std::chrono::microseconds(*watched);
    }
    return manager;
}

bool ServiceManager::ready() const {
    return tell("READY=1");
}

bool ServiceManager::stopping() const {
    return tell("STOPPING=1");
}

bool ServiceManager::alive(Clock::time_point now) {
    if (!patience || (toldLast != Clock::time_point::min() && now - toldLast < *patience / 4)) {
        return true;
    }
    toldLast = now;
    return tell("WATCHDOG=1");
}

// By hand: libsystemd brings seven libraries, a millisecond at the start and a megabyte of memory.
bool ServiceManager::tell(std::string_view state) const {
    if (address.empty()) {
        return true;
    }
    const auto to = socketAddress(address);
    if (!to) {
        return false;
    }
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.get() < 0) {
        return false;
    }
    const void* const given = &*to;
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
    return ::sendto(socket.get(), state.data(), state.size(), MSG_NOSIGNAL,
                    static_cast<const sockaddr*>(given),
                    size) == static_cast<ssize_t>(state.size());
}

}  // namespace tarn::os
