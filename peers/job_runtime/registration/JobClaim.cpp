#include "peers/job_runtime/registration/JobClaim.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "platform/utils/Printable.h"

namespace tarn::peers {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int againAfterMs = 20;

/// The address of a socket that is no file. Ids may be of any length: their hash stands for them.
struct Name {
    Name(const std::string& resourcesEndpoint, const std::string& jobId) {
        constexpr std::string_view prefix("\0tarn.job:", 10);
        const boost::uuids::name_generator_sha1 generator(boost::uuids::ns::oid());
        const auto text = std::string(prefix) +
                          boost::uuids::to_string(generator(resourcesEndpoint + '\n' + jobId));
        text.copy(address.sun_path, sizeof(address.sun_path));
        size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + text.size());
    }
    const sockaddr* get() const {
        return static_cast<const sockaddr*>(static_cast<const void*>(&address));
    }

    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    socklen_t size;
};

bool take(const os::FileDescriptor& holder, const Name& name) {
    if (::bind(holder.get(), name.get(), name.size) == 0) {
        return true;
    }
    if (errno != EADDRINUSE) {
        throw std::system_error(errno, std::generic_category(), "cannot claim the job's id");
    }
    return false;
}

}  // namespace

JobClaim::JobClaim(const std::string& resourcesEndpoint, const std::string& jobId,
                   std::chrono::milliseconds patience, const std::stop_token& stop)
    : holder(os::checkedDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket")) {
    const Name name(resourcesEndpoint, jobId);
    const auto deadline = Clock::now() + patience;
    while (!take(holder, name)) {
        if (Clock::now() >= deadline || stop.stop_requested()) {
            throw std::runtime_error("Already running: job " + utils::printable(jobId));
        }
        waited = true;
        ::poll(nullptr, 0, againAfterMs);
    }
}

}  // namespace tarn::peers
