#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "platform/resource_manager/registry/PropertyMatch.h"
#include "platform/resource_manager/registry/RegistryContents.h"
#include "platform/resource_manager/registry/RegistryStore.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/Synchronised.h"

namespace tarn::resource_manager {

/// The running jobs and what they hold, and the rules by which they enter and leave. Any thread.
///
/// Questions are answered from memory and never wait for a change in progress. A change is stored
/// before it can be seen; one that cannot be stored is logged, holds in memory, and is stored with
/// the next one or by `storeWhatIsMissing`, whichever comes first. Refusals and failures are
/// std::runtime_error with a text for people.
class Registry : private tarn::utils::MessageFormatter {
  public:
    /// Told of each job that was cleared since its process is dead; must not throw.
    using TidyUp = std::function<void(const RunningJob&)>;

    using Clock = std::chrono::steady_clock;

    /// Without a store, in memory only.
    explicit Registry(RegistryContents initial = {}, std::unique_ptr<RegistryStore> store = nullptr,
                      TidyUp tidyUp = {}, std::function<Clock::time_point()> now = Clock::now);

    /// In the order of registration, with those that died and were not cleared yet.
    std::list<RunningJob> runningJobs() const;
    std::list<RunningJob> jobsThatMatch(const PropertyMatch& match) const;

    /// Empty when no living process has registered this id.
    RunningJob runningJobWithUuid(const std::string& uuid) const;

    std::list<std::string> usedResources(const std::string& type) const;

    /// Removes the jobs whose process is dead, with a line in the log for each, and stores what is
    /// missing.
    void clearDeadProcesses();

    /// Tries to store what could not be stored when it changed, at most once a second. For whoever
    /// comes by again and again: nothing while nothing is missing. Does not throw.
    void storeWhatIsMissing();

    /// Enters a job with all its resources. An unknown start time of its process is looked up. Dead
    /// jobs that have its id or hold an endpoint that it wants are removed.
    void registerJob(const RunningJob& job);

    /// `by` is the process that asks: only the one that registered may. An unknown id is no error.
    void unregisterJob(const std::string& uuid, const os::ProcessIdentity& by);

    void setDeltacastConfiguration(const DeltacastConfiguration& configuration);
    DeltacastConfiguration deltacastConfiguration() const;  ///< empty while none was set

    /// Once this returned, no job enters any more.
    void refuseRegistrations();

    /// Once this returned, nothing changes any more, and the store is closed.
    void close();

  private:
    enum class State { Open, RefusingRegistrations, Closed };

    struct Changes {
        State state = State::Open;
        std::unique_ptr<RegistryStore> store;
        Clock::time_point nextTry;  // while the store is behind
    };
    using LockedChanges = tarn::utils::Synchronised<Changes>::Locked;

    RunningJob registeredJob(const std::string& uuid) const;  // empty when there is none
    LockedChanges lockForChange();
    void commit(LockedChanges& changes, const RegistryChange& change);
    void store(Changes& changes, const RegistryChange& change);
    void storeAll(Changes& changes, const RegistryContents& all);
    void logRemoved(const RunningJob& job) const;

    // One change after the other holds `changes`, from its decision to its end, and `contents` only
    // for the moment of taking effect. Never lock them the other way round.
    tarn::utils::Synchronised<Changes> changes;
    mutable tarn::utils::Synchronised<RegistryContents> contents;
    std::atomic<bool> storeIsBehind = false;  // written under `changes`
    const TidyUp tidyUp;
    const std::function<Clock::time_point()> now;
};

}  // namespace tarn::resource_manager
