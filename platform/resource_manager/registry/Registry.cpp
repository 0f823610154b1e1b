#include "platform/resource_manager/registry/Registry.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"

namespace tarn::resource_manager {

namespace {

constexpr auto exclusiveResource = "Endpoint";
constexpr std::chrono::seconds betweenTries{1};

const std::string& idOf(const RunningJob& job) {
    return job.getJobDescription().getJobId();
}

// Ids and endpoints come from outside, and these texts go into the log.
std::string shown(const RunningJob& job) {
    return "job " + tarn::utils::printable(idOf(job));
}

using Endpoints = std::unordered_set<std::string_view>;

// Nobody holds an empty value: jobs whose endpoints were not chosen yet do not exclude each other.
Endpoints endpointsOf(const RunningJob& job) {
    const auto& values = job.getValuesOf(exclusiveResource);
    Endpoints endpoints(values.begin(), values.end());
    endpoints.erase(std::string_view());
    return endpoints;
}

// One look-up for each that is held: both jobs may have made up thousands.
const std::string* heldOf(const Endpoints& wanted, const RunningJob& other) {
    const auto& held = other.getValuesOf(exclusiveResource);
    const auto found = std::find_if(held.begin(), held.end(),
                                    [&](const auto& value) { return wanted.contains(value); });
    return found == held.end() ? nullptr : &*found;
}

std::string describe(const os::ProcessIdentity& process) {
    return "process " + std::to_string(process.id);
}

// Who gives the id alone means the process that has it now: it still waits for the answer.
os::ProcessIdentity completed(const os::ProcessIdentity& process) {
    return process.startTime == 0 ? os::ProcessIdentity::of(process.id) : process;
}

// Also refuses what could never be told from another job.
RunningJob withCompleteProcess(const RunningJob& job) {
    if (idOf(job).empty()) {
        throw std::runtime_error("A job without an identifier cannot register");
    }
    const auto process = completed(job.getProcess());
    if (!os::isAlive(process)) {
        throw std::runtime_error("The " + describe(process) + " of " + shown(job) +
                                 " is not running");
    }
    return RunningJob(job.getJobDescription(), job.getCommandEndpoint(), job.getEventEndpoint(),
                      process, job.getResources(), job.getOwner());
}

// Why `wanted` cannot enter beside `other`, if that is alive; empty when it can.
std::string conflictWith(const RunningJob& other, const RunningJob& wanted,
                         const Endpoints& endpoints) {
    if (idOf(other) == idOf(wanted)) {
        return other.getProcess() == wanted.getProcess()
                   ? std::string()
                   : "Already running: " + shown(wanted) + ", as " + describe(other.getProcess());
    }
    const auto* const endpoint = heldOf(endpoints, other);
    return endpoint == nullptr
               ? std::string()
               : "Endpoint " + tarn::utils::printable(*endpoint) + " is held by " + shown(other);
}

}  // namespace

Registry::Registry(RegistryContents initial, std::unique_ptr<RegistryStore> store, TidyUp tidyUp,
                   std::function<Clock::time_point()> now)
    : MessageFormatter("ResourceManager"),
      contents(std::move(initial)),
      tidyUp(std::move(tidyUp)),
      now(std::move(now)) {
    changes.lock()->store = std::move(store);
}

std::list<RunningJob> Registry::runningJobs() const {
    auto known = contents.lock();
    return {known->jobs.begin(), known->jobs.end()};
}

std::list<RunningJob> Registry::jobsThatMatch(const PropertyMatch& match) const {
    auto jobs = runningJobs();
    jobs.remove_if([&match](const RunningJob& job) { return !match.holdsFor(job); });
    return jobs;
}

RunningJob Registry::runningJobWithUuid(const std::string& uuid) const {
    const auto job = registeredJob(uuid);
    return os::isAlive(job.getProcess()) ? job : RunningJob();
}

RunningJob Registry::registeredJob(const std::string& uuid) const {
    auto known = contents.lock();
    const auto* const job = known->find(uuid);
    return job == nullptr ? RunningJob() : *job;
}

std::list<std::string> Registry::usedResources(const std::string& type) const {
    std::list<std::string> resources;
    for (const auto& job : runningJobs()) {
        const auto& values = job.getValuesOf(type);
        resources.insert(resources.end(), values.begin(), values.end());
    }
    return resources;
}

void Registry::clearDeadProcesses() {
    storeWhatIsMissing();
    auto locked = lockForChange();
    auto dead = runningJobs();
    dead.remove_if([](const RunningJob& job) { return os::isAlive(job.getProcess()); });
    if (dead.empty()) {
        return;
    }
    RegistryChange change;
    for (const auto& job : dead) {
        change.removed.push_back(idOf(job));
        logRemoved(job);
    }
    commit(locked, change);
    if (tidyUp) {
        std::for_each(dead.begin(), dead.end(), tidyUp);
    }
}

void Registry::registerJob(const RunningJob& wanted) {
    const auto job = withCompleteProcess(wanted);
    auto locked = lockForChange();
    if (locked->state != State::Open) {
        throw std::runtime_error("The service is stopping: " + shown(job) + " cannot register");
    }
    const auto endpoints = endpointsOf(job);
    RegistryChange change;
    change.entered = job;
    for (const auto& other : runningJobs()) {
        const auto conflict = conflictWith(other, job, endpoints);
        if (conflict.empty()) {
            continue;
        }
        if (os::isAlive(other.getProcess())) {
            throw std::runtime_error(conflict);
        }
        change.removed.push_back(idOf(other));
        logRemoved(other);
    }
    commit(locked, change);
}

void Registry::unregisterJob(const std::string& uuid, const os::ProcessIdentity& by) {
    auto locked = lockForChange();
    const auto job = registeredJob(uuid);
    if (idOf(job).empty()) {
        return;
    }
    if (job.getProcess() != completed(by)) {
        throw std::runtime_error("Not removed: " + shown(job) +
                                 " was registered by another process, " +
                                 describe(job.getProcess()));
    }
    commit(locked, {.removed = {uuid}, .entered = {}, .deltacastConfiguration = {}});
}

void Registry::setDeltacastConfiguration(const DeltacastConfiguration& configuration) {
    auto locked = lockForChange();
    commit(locked, {.removed = {}, .entered = {}, .deltacastConfiguration = configuration});
}

DeltacastConfiguration Registry::deltacastConfiguration() const {
    return contents.lock()->deltacastConfiguration.value_or(DeltacastConfiguration());
}

// From the moment on in which the jobs are listed to be ended: one that came later would be left
// over.
void Registry::refuseRegistrations() {
    auto locked = changes.lock();
    if (locked->state == State::Open) {
        locked->state = State::RefusingRegistrations;
    }
}

void Registry::close() {
    auto locked = changes.lock();
    locked->state = State::Closed;
    locked->store.reset();
}

Registry::LockedChanges Registry::lockForChange() {
    auto locked = changes.lock();
    if (locked->state == State::Closed) {
        throw std::runtime_error("The resource manager has terminated");
    }
    return locked;
}

// The file first: what was answered as registered must be found by the next service.
void Registry::commit(LockedChanges& locked, const RegistryChange& change) {
    store(*locked, change);
    contents.lock()->apply(change);
}

// A disk that is full is no reason to refuse jobs: what is in memory holds, and once something was
// missed only the whole can put the file right.
void Registry::store(Changes& locked, const RegistryChange& change) {
    if (!locked.store) {
        return;
    }
    try {
        if (storeIsBehind) {
            auto after = *contents.lock();
            after.apply(change);
            storeAll(locked, after);
        } else {
            locked.store->apply(change);
        }
    } catch (const std::exception& e) {
        storeIsBehind = true;
        locked.nextTry = now() + betweenTries;
        tarn::utils::logError(
            formatMessage(std::string("Cannot store a change of the registry: ") + e.what()));
    }
}

void Registry::storeAll(Changes& locked, const RegistryContents& all) {
    locked.store->replace(all);
    storeIsBehind = false;
    tarn::utils::logInfo(formatMessage("The registry is stored again"));
}

// Called with each round of the cleaner, since no change may come for hours.
void Registry::storeWhatIsMissing() {
    if (!storeIsBehind) {
        return;
    }
    auto locked = changes.lock();
    // Looked at again with the lock: a change may have stored everything meanwhile.
    if (!locked->store || !storeIsBehind || now() < locked->nextTry) {
        return;
    }
    const auto all = *contents.lock();
    try {
        storeAll(*locked, all);
    } catch (const std::exception& e) {
        locked->nextTry = now() + betweenTries;
        tarn::utils::logDebug(
            formatMessage(std::string("The registry cannot be stored yet: ") + e.what()));
    }
}

void Registry::logRemoved(const RunningJob& job) const {
    tarn::utils::logInfo(formatMessage("Removed " + shown(job) + ": its " +
                                       describe(job.getProcess()) + " is dead"));
}

}  // namespace tarn::resource_manager
