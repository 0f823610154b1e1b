#include "peers/job_runtime/registration/RegistryEntry.h"

#include <chrono>
#include <exception>
#include <utility>

#include "peers/job_runtime/registration/JobClaim.h"
#include "platform/os/Deadline.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"

namespace tarn::peers {

namespace {

constexpr std::chrono::seconds checkPeriod{1};

// A service that lives forgets nobody; this is for what we have not thought of.
constexpr std::chrono::minutes longestTrust{1};
constexpr std::chrono::seconds leaveBound{2};

// As long as a job that was just told to end normally takes.
constexpr std::chrono::milliseconds claimBound{4000};

// Who had the id lets go of it a moment before its entry is gone.
constexpr std::chrono::milliseconds replaceBound{1000};
constexpr std::chrono::milliseconds againAfter{20};

}  // namespace

RegistryEntry::RegistryEntry(tarn::resource_manager::RunningJob entry,
                             const std::string& resourcesEndpoint, MayBeTheJob mayBeTheJob)
    : job(std::move(entry)),
      endpointText(resourcesEndpoint),
      endpoint(tarn::socket::SocketEndpoint::FromString(resourcesEndpoint).asPeer()),
      mayBeTheJob(std::move(mayBeTheJob)) {}

RegistryEntry::~RegistryEntry() = default;

void RegistryEntry::enter() {
    change(Standing::Claiming);
    thread = std::jthread([this](const std::stop_token& token) { work(token); });
}

Registration::Standing RegistryEntry::take() {
    changes.reset();
    return state.lock()->standing;
}

std::string RegistryEntry::reason() {
    return state.lock()->reason;
}

bool RegistryEntry::leave() {
    if (!thread.joinable()) {
        return true;
    }
    thread.request_stop();
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, leaveBound, [this] { return left; });
}

void RegistryEntry::work(const std::stop_token& token) {
    const std::stop_callback waking(token, [this] { stopping.ring(); });
    if (claimId(token)) {
        enterFirst(token);
        while (awaitNextCheck(token)) {
            check();
        }
    }
    depart();
    const std::lock_guard lock(mutex);
    left = true;
    changed.notify_all();
}

// A service that has lost its registry starts a persistent job beside the one that still runs. When
// that one ends meanwhile, this one takes its place, unless it was ended for good.
bool RegistryEntry::claimId(const std::stop_token& token) {
    try {
        claim = std::make_unique<JobClaim>(endpointText, jobId(), claimBound, token);
        if (mayBeTheJob(claim->hadToWait())) {
            return true;
        }
        change(Standing::Refused,
               (claim->hadToWait() ? "Already running: job " : "Ended for good meanwhile: job ") +
                   utils::printable(jobId()));
    } catch (const std::exception& e) {
        change(Standing::Refused, e.what());
    }
    return false;
}

void RegistryEntry::enterFirst(const std::stop_token& token) {
    change(Standing::Entering);
    std::string error;
    auto standing = askToEnter(error);
    const os::Deadline deadline(replaceBound);
    while (standing == Standing::Refused && claim->hadToWait() && !deadline.hasPassed() &&
           pause(token, againAfter)) {
        standing = askToEnter(error);
    }
    // The service that wanted a job back is gone; the next one will want it too.
    if (standing == Standing::Away && claim->hadToWait()) {
        standing = Standing::Refused;
    }
    change(standing, error);
    if (standing == Standing::Away) {
        utils::logWarning("This job is not registered yet: " + error);
    }
}

Registration::Standing RegistryEntry::askToEnter(std::string& error) {
    if (!connect(error)) {
        return Standing::Away;
    }
    if (proxy.registerJob(job, error)) {
        wasListed = true;
        return Standing::Listed;
    }
    tarn::resource_manager::RunningJob listed;
    std::string silence;
    return proxy.getRunningJobWithUuid(jobId(), listed, silence) ? Standing::Refused
                                                                 : Standing::Away;
}

bool RegistryEntry::connect(std::string& error) {
    connected = connected || proxy.connect(endpoint, error);
    return connected;
}

void RegistryEntry::check() {
    tarn::resource_manager::RunningJob listed;
    std::string error;
    if (!connect(error) || !proxy.getRunningJobWithUuid(jobId(), listed, error)) {
        if (change(Standing::Away, error)) {
            utils::logWarning("The resource manager is away: " + error);
        }
    } else if (listed.getProcess() == job.getProcess()) {
        if (change(Standing::Listed)) {
            utils::logWarning("The resource manager is back and lists this job");
        }
    } else if (proxy.registerJob(job, error)) {
        change(Standing::Listed);
        utils::logWarning(std::exchange(wasListed, true)
                              ? "The registry had lost this job: registered again"
                              : "This job is registered now");
    } else if (change(Standing::Refused, error)) {
        utils::logWarning("Cannot register: " + error);
    }
}

// The claim goes first: whoever does not find the entry any more may be the job at once. A service
// that is away will find out by itself that this process is gone.
void RegistryEntry::depart() {
    claim.reset();
    const auto standing = state.lock()->standing;
    std::string error;
    if (standing == Standing::Listed && !proxy.unregisterJob(jobId(), error)) {
        utils::logWarning("Cannot leave the registry: " + error);
    }
}

// False when the thread is to end.
bool RegistryEntry::awaitNextCheck(const std::stop_token& token) {
    std::string error;
    const bool isListed = state.lock()->standing == Standing::Listed;
    if (isListed) {
        proxy.awaitLoss(stopping.descriptor(), longestTrust, error);
    }
    return isListed && error.empty() ? !token.stop_requested() : pause(token, checkPeriod);
}

// The same after a time.
bool RegistryEntry::pause(const std::stop_token& token, std::chrono::milliseconds length) {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, token, length, [] { return false; });
    return !token.stop_requested();
}

bool RegistryEntry::change(Standing now, const std::string& why) {
    bool isNew = false;
    {
        auto locked = state.lock();
        isNew = std::exchange(locked->standing, now) != now;
        locked->reason = why;
    }
    changes.ring();
    return isNew;
}

}  // namespace tarn::peers
