#include "platform/os/WakeUp.h"

#include <sys/eventfd.h>

#include "platform/os/Readable.h"

namespace tarn::os {

WakeUp::WakeUp() : event(checkedDescriptor(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")) {}

void WakeUp::ring() {
    ::eventfd_write(event.get(), 1);
}

void WakeUp::waitFor(std::chrono::milliseconds bound) const {
    becomesReadable(event.get(), Deadline(bound));
}

void WakeUp::reset() {
    eventfd_t count = 0;
    ::eventfd_read(event.get(), &count);
}

}  // namespace tarn::os
