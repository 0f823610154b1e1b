#include "platform/socket/DescriptorReserve.h"

#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "platform/os/FileDescriptor.h"
#include "platform/socket/visitors/ProcessVisitors.h"
#include "platform/socket/visitors/WaitingRoom.h"
#include "platform/utils/Log.h"
#include "platform/utils/Synchronised.h"

namespace tarn::socket {

namespace {

using Clock = std::chrono::steady_clock;

constexpr rlim_t reserve = 64;
constexpr std::chrono::milliseconds betweenRefusals{1};
constexpr std::chrono::seconds betweenLines{10};

std::atomic<std::uint64_t> turnedAway = 0;

rlim_t limit() {
    rlimit descriptors{};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    return descriptors.rlim_cur;
}

// The system gives the lowest number that is free: all below this one are taken.
bool isOfReserve(int descriptor) {
    const auto most = limit();
    return static_cast<rlim_t>(descriptor) + 1 + std::min(reserve, most / 4) > most;
}

// Whoever is turned away tries again; many of them must not take a processor. Not for who has too
// many connections himself: while this waits, nobody's messages are moved.
void slowDown() {
    thread_local Clock::time_point last;
    if (Clock::now() - last < betweenRefusals) {
        std::this_thread::sleep_for(betweenRefusals);
    }
    last = Clock::now();
}

// The library takes this error for a client that has gone meanwhile.
int turnAway() {
    ++turnedAway;
    DescriptorReserve::Report();
    slowDown();
    errno = ECONNABORTED;
    return -1;
}

int acceptUnlessShort(int listening, sockaddr* address, socklen_t* size, int flags) {
    const auto accepted = static_cast<int>(::syscall(SYS_accept4, listening, address, size, flags));
    if (accepted >= 0 && isOfReserve(accepted)) {
        ::close(accepted);
        return turnAway();
    }
    if (accepted >= 0 && !processVisitors().admit(accepted, visitorOn(accepted))) {
        processWaitingRoom().take(os::FileDescriptor(accepted));
        errno = ECONNABORTED;
        return -1;
    }
    if (accepted < 0 && (errno == EMFILE || errno == ENFILE)) {
        return turnAway();
    }
    return accepted;
}

}  // namespace

void DescriptorReserve::Report() {
    static auto& nextLine = *new tarn::utils::Synchronised<Clock::time_point>();
    if (turnedAway == 0) {
        return;
    }
    const auto now = Clock::now();
    auto next = nextLine.lock();
    if (now >= *next) {
        *next = now + betweenLines;
        tarn::utils::logWarning("Sockets > turned away " + std::to_string(turnedAway.exchange(0)) +
                                " connections: of " + std::to_string(limit()) +
                                " file descriptors the last ones are kept for other work");
    }
}

bool DescriptorReserve::Holds(int descriptor) {
    return isOfReserve(descriptor);
}

std::uint64_t DescriptorReserve::ForClients() {
    const auto most = limit();
    return most - std::min(reserve, most / 4);
}

bool DescriptorReserve::IsReached() {
    const os::FileDescriptor next(::eventfd(0, EFD_CLOEXEC));
    return next.get() < 0 || isOfReserve(next.get());
}

}  // namespace tarn::socket

// In the place of the C library's function, which the messaging library would call.
extern "C" int accept4(int listening, sockaddr* address, socklen_t* size, int flags) {
    return tarn::socket::acceptUnlessShort(listening, address, size, flags);
}
