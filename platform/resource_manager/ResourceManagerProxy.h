#pragma once

#include <chrono>
#include <list>
#include <memory>
#include <string>

#include "platform/resource_manager/DeltacastConfiguration.h"
#include "platform/resource_manager/RunningJob.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::resource_manager {

/// Asks the resource manager of a resources endpoint. Every operation may be called from any
/// thread, waits for its turn and then 5 seconds at most for the answer, and does not throw: it
/// returns false with the reason in `error`, which is cleared at entry; outputs are left empty.
///
/// When the request handler of this same process serves the endpoint at the moment of connect, the
/// registry is called directly and nothing waits; otherwise everything goes over one socket. What
/// can be seen is the same: after the handler's end the operations fail, and after its new start on
/// the endpoint they work again without another connect. So they do when a resource manager in
/// another process comes back.
class ResourceManagerProxy {
  public:
    ResourceManagerProxy();
    ~ResourceManagerProxy();

    /// Connects and waits up to 2 seconds for the resource manager. A failed or earlier connection
    /// is replaced. While there was no successful connect, every other operation fails.
    bool connect(const tarn::socket::SocketEndpoint& endpoint, std::string& error);
    /// False when not connected.
    bool disconnect(std::string& error);

    bool getRunningJobs(std::list<RunningJob>& jobs, std::string& error);

    /// Leaves `job` empty and succeeds when no job has that id.
    bool getRunningJobWithUuid(const std::string& uuid, RunningJob& job, std::string& error);

    /// Jobs one of whose values of the resource `property` matches `value`. `exact` compares whole
    /// values; `prefix` their beginnings; neither looks for `value` anywhere in them. `ignoreCase`
    /// folds ASCII letters. `negate` returns the jobs that do not match.
    bool getRunningJobsWithPropertyAndValue(const std::string& property, const std::string& value,
                                            std::list<RunningJob>& jobs, std::string& error,
                                            bool exact, bool ignoreCase, bool prefix, bool negate);

    /// All values of the resource `resourceType` that running jobs hold.
    bool getUsedResources(const std::string& resourceType, std::list<std::string>& resources,
                          std::string& error);

    /// Removes the jobs whose process is dead.
    bool clearDeadProcesses(std::string& error);

    /// For jobs: enters the registry and takes the job's resources, all or nothing. Refused when a
    /// job with this id runs, when another running job holds a value of "Endpoint" that this one
    /// wants, when the id is empty, or while the service is stopping. Registering again from the
    /// same process replaces the entry.
    bool registerJob(const RunningJob& job, std::string& error);
    /// For jobs: leaves the registry. Only the process that registered may; an unknown id succeeds.
    bool unregisterJob(const std::string& uuid, std::string& error);

    /// For jobs: waits until the resource manager may have lost what was registered there, which is
    /// when the connection to it is lost. False when `bound` has passed, or `interruption` is
    /// readable, first; and with `error` when it cannot be waited for. Other operations may wait as
    /// long: for a proxy that has one user.
    bool awaitLoss(int interruption, std::chrono::milliseconds bound, std::string& error);

    bool setDeltacastConfiguration(const DeltacastConfiguration& configuration, std::string& error);
    /// Leaves `configuration` empty and succeeds when none was ever set.
    bool getDeltacastConfiguration(DeltacastConfiguration& configuration, std::string& error);

  private:
    struct Implementation;
    std::unique_ptr<Implementation> impl;
};

/// The process's proxy; created on first use, destroyed at exit.
ResourceManagerProxy& GetResourceManagerProxy();

}  // namespace tarn::resource_manager
