#include "service/runtime/shutdown/StopSignal.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <system_error>

#include "platform/os/Readable.h"

namespace tarn::service {

namespace {

// What a signal handler may touch: lock-free atomics and a descriptor that never blocks.
std::atomic<int> caughtSignal{0};
std::atomic<int> wakeUpWriter{-1};
std::array<int, 2> wakeUp{-1, -1};
static_assert(std::atomic<int>::is_always_lock_free);

void wakeWaiter() {
    const char byte = 0;
    // Nothing can be done about a failure here; a full pipe wakes the waiter just as well.
    [[maybe_unused]] const auto written = ::write(wakeUpWriter, &byte, 1);
}

void signalCallbackHandler(int signal) {
    const int savedErrno = errno;
    int none = 0;
    caughtSignal.compare_exchange_strong(none, signal);  // the first one counts
    wakeWaiter();
    errno = savedErrno;
}

}  // namespace

StopSignal::StopSignal() {
    if (::pipe2(wakeUp.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    caughtSignal = 0;
    wakeUpWriter = wakeUp[1];
    ::signal(SIGQUIT, signalCallbackHandler);
    ::signal(SIGINT, signalCallbackHandler);
}

// A handler that runs later finds no pipe; the descriptors are kept, since it may be running now.
StopSignal::~StopSignal() {
    wakeUpWriter = -1;
}

bool StopSignal::requested() const {
    return caughtSignal != 0;
}

bool StopSignal::waitFor(std::chrono::milliseconds duration) const {
    os::becomesReadable(wakeUp[0], os::Deadline(duration));
    return requested();
}

int StopSignal::wait() {
    pollfd readable{wakeUp[0], POLLIN, 0};
    while (::poll(&readable, 1, -1) < 0 && errno == EINTR) {
    }
    return caughtSignal;
}

void StopSignal::cancelWait() {
    wakeWaiter();
}

}  // namespace tarn::service
