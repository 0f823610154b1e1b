#include "peers/job_runtime/registration/JobClaim.h"

#include <poll.h>

#include <stdexcept>

#include "platform/os/Deadline.h"
#include "platform/utils/Printable.h"

namespace tarn::peers {

namespace {

constexpr int againAfterMs = 20;

}  // namespace

JobClaim::JobClaim(const std::string& resourcesEndpoint, const std::string& jobId,
                   std::chrono::milliseconds patience, const std::stop_token& stop) {
    const auto name = "job:" + resourcesEndpoint + '\n' + jobId;
    const os::Deadline deadline(patience);
    while (!(claim = os::NameClaim::TryTake(name))) {
        if (deadline.hasPassed() || stop.stop_requested()) {
            throw std::runtime_error("Already running: job " + utils::printable(jobId));
        }
        waited = true;
        ::poll(nullptr, 0, againAfterMs);
    }
}

}  // namespace tarn::peers
