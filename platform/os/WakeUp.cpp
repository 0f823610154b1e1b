#include "platform/os/WakeUp.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tarn::os {

WakeUp::WakeUp() : number(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (number < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

WakeUp::~WakeUp() {
    ::close(number);
}

void WakeUp::ring() {
    ::eventfd_write(number, 1);
}

void WakeUp::waitFor(std::chrono::milliseconds bound) const {
    pollfd item{number, POLLIN, 0};
    ::poll(&item, 1, static_cast<int>(bound.count()));
}

void WakeUp::reset() {
    eventfd_t count = 0;
    ::eventfd_read(number, &count);
}

}  // namespace tarn::os
