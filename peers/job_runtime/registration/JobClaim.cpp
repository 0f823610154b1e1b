#include "peers/job_runtime/registration/JobClaim.h"

#include <poll.h>

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <stdexcept>

#include "platform/os/Deadline.h"
#include "platform/utils/Printable.h"

namespace tarn::peers {

namespace {

constexpr int againAfterMs = 20;

/// Ids may be of any length: their hash stands for them.
std::string nameOf(const std::string& resourcesEndpoint, const std::string& jobId) {
    const boost::uuids::name_generator_sha1 generator(boost::uuids::ns::oid());
    return "tarn.job:" + boost::uuids::to_string(generator(resourcesEndpoint + '\n' + jobId));
}

}  // namespace

JobClaim::JobClaim(const std::string& resourcesEndpoint, const std::string& jobId,
                   std::chrono::milliseconds patience, const std::stop_token& stop) {
    const auto name = nameOf(resourcesEndpoint, jobId);
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
