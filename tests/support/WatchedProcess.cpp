#include "tests/support/WatchedProcess.h"

#include <poll.h>

extern "C" {
#include <sys/pidfd.h>
}

namespace tarn::test {

WatchedProcess::WatchedProcess(pid_t id)
    : processId(id), descriptor(os::checkedDescriptor(::pidfd_open(id, 0), "no such process")) {}

bool WatchedProcess::waitForEnd(std::chrono::milliseconds bound) const {
    pollfd ended{.fd = descriptor.get(), .events = POLLIN, .revents = 0};
    return ::poll(&ended, 1, static_cast<int>(bound.count())) == 1;
}

void WatchedProcess::signal(int number) const {
    ::pidfd_send_signal(descriptor.get(), number, nullptr, 0);
}

}  // namespace tarn::test
