#include "peers/job_runtime/events/JobStatus.h"

namespace tarn::peers {

JobStatus::Reply JobStatus::snapshot() {
    Reply copy = *reply.lock();
    const auto uptime = std::chrono::steady_clock::now() - since;
    copy.set_uptime_ns(std::chrono::nanoseconds(uptime).count());
    return copy;
}

}  // namespace tarn::peers
