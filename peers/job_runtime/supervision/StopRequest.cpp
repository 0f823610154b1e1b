#include "peers/job_runtime/supervision/StopRequest.h"

#include <algorithm>

namespace tarn::peers {

void StopRequest::request(Wish wish) {
    {
        auto strongest = current.lock();
        *strongest = std::max(*strongest, wish);
    }
    wishes.ring();
}

StopRequest::Wish StopRequest::wish() {
    return *current.lock();
}

StopRequest::Wish StopRequest::take() {
    if (signals.take() != 0) {
        request(Wish::EndNow);
    }
    wishes.reset();  // last, so that what was just requested does not wake a second time
    return wish();
}

}  // namespace tarn::peers
