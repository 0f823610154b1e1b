#include "peers/job_runtime/RegistryEntry.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include "platform/utils/Log.h"

namespace tarn::peers {

namespace {

constexpr std::chrono::seconds checkPeriod{1};
constexpr std::chrono::seconds leaveBound{2};

}  // namespace

RegistryEntry::RegistryEntry(tarn::resource_manager::RunningJob entry,
                             const tarn::socket::SocketEndpoint& resourcesEndpoint)
    : job(std::move(entry)) {
    std::string error;
    if (!proxy.connect(resourcesEndpoint.asPeer(), error) || !proxy.registerJob(job, error)) {
        throw std::runtime_error(error);
    }
    thread = std::jthread([this](const std::stop_token& token) { watch(token); });
}

RegistryEntry::~RegistryEntry() = default;

bool RegistryEntry::leave() {
    thread.request_stop();
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, leaveBound, [this] { return left; });
}

void RegistryEntry::watch(const std::stop_token& token) {
    while (!token.stop_requested()) {
        {
            std::unique_lock lock(mutex);
            changed.wait_for(lock, token, checkPeriod, [] { return false; });
        }
        if (!token.stop_requested()) {
            check();
        }
    }
    unregister();
    const std::lock_guard lock(mutex);
    left = true;
    changed.notify_all();
}

void RegistryEntry::check() {
    tarn::resource_manager::RunningJob listed;
    std::string error;
    if (!proxy.getRunningJobWithUuid(job.getJobDescription().getJobId(), listed, error)) {
        change(Standing::Unreachable, "The resource manager is away: " + error);
    } else if (listed.getProcess() == job.getProcess()) {
        change(Standing::Listed, "The resource manager is back and lists this job");
    } else if (proxy.registerJob(job, error)) {
        standing = Standing::Listed;
        utils::logWarning("The registry had lost this job: registered again");
    } else {
        change(Standing::Refused, "Cannot register again: " + error);
    }
}

// A service that is away will find out by itself that this process is gone.
void RegistryEntry::unregister() {
    std::string error;
    if (standing != Standing::Unreachable &&
        !proxy.unregisterJob(job.getJobDescription().getJobId(), error)) {
        utils::logWarning("Cannot leave the registry: " + error);
    }
}

void RegistryEntry::change(Standing now, const std::string& line) {
    if (std::exchange(standing, now) != now) {
        utils::logWarning(line);
    }
}

}  // namespace tarn::peers
