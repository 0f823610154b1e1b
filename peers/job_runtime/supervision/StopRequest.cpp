#include "peers/job_runtime/supervision/StopRequest.h"

#include <sys/eventfd.h>

#include <algorithm>

namespace tarn::peers {

StopRequest::StopRequest()
    : wishes(os::checkedDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

void StopRequest::request(Wish wish) {
    {
        auto strongest = current.lock();
        *strongest = std::max(*strongest, wish);
    }
    ::eventfd_write(wishes.get(), 1);
}

StopRequest::Wish StopRequest::wish() {
    return *current.lock();
}

StopRequest::Wish StopRequest::take() {
    if (signals.take()) {
        request(Wish::EndNow);
    }
    eventfd_t count = 0;
    ::eventfd_read(wishes.get(), &count);
    return wish();
}

}  // namespace tarn::peers
