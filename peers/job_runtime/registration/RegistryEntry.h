#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "peers/job_runtime/registration/Registration.h"
#include "platform/os/WakeUp.h"
#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/resource_manager/RunningJob.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/Synchronised.h"

namespace tarn::peers {

class JobClaim;

/// This process's entry in the registry of running jobs, and the claim to its id. Both are seen to
/// by a thread of its own, since neither is got at once: the claim may be held by a process that is
/// about to end, and the resource manager may be away. Once entered, the entry is looked at
/// whenever the connection to the service was lost, and made again when a new service has lost it.
/// A service that is away is no reason to end: it is asked every second, and only what changes is
/// logged.
class RegistryEntry : public Registration {
  public:
    /// Whether it may be the job, now that it has the claim; `hadToWait`: another process was the
    /// job a moment ago. Asked on the thread.
    using MayBeTheJob = std::function<bool(bool hadToWait)>;

    /// Enters nothing yet. Throws std::system_error, std::invalid_argument for a bad endpoint.
    RegistryEntry(tarn::resource_manager::RunningJob job, const std::string& resourcesEndpoint,
                  MayBeTheJob mayBeTheJob);
    ~RegistryEntry() override;  ///< leaves

    void enter() override;
    Standing take() override;
    std::string reason() override;
    int descriptor() const override { return changes.descriptor(); }

    /// Has the thread let go of the id and leave the registry, and waits up to 2 seconds for it:
    /// who finds no entry any more may be the job at once. False when the thread is still waiting
    /// for a resource manager that does not answer; the destructor then waits for the rest of that,
    /// some seconds.
    bool leave();

  private:
    struct State {
        Standing standing = Standing::Outside;
        std::string reason;
    };

    void work(const std::stop_token& token);
    bool claimId(const std::stop_token& token);
    void enterFirst(const std::stop_token& token);
    Standing askToEnter(std::string& error);
    bool connect(std::string& error);
    void check();
    void depart();
    bool awaitNextCheck(const std::stop_token& token);
    bool pause(const std::stop_token& token, std::chrono::milliseconds length);
    bool change(Standing now, const std::string& why = {});

    const std::string& jobId() const { return job.getJobDescription().getJobId(); }

    const tarn::resource_manager::RunningJob job;
    const std::string endpointText;
    const tarn::socket::SocketEndpoint endpoint;
    const MayBeTheJob mayBeTheJob;
    os::WakeUp changes;
    tarn::utils::Synchronised<State> state;

    os::WakeUp stopping;

    // The thread's.
    tarn::resource_manager::ResourceManagerProxy proxy;
    std::unique_ptr<JobClaim> claim;
    bool connected = false;
    bool wasListed = false;

    std::mutex mutex;
    std::condition_variable_any changed;
    bool left = false;    // guarded by mutex
    std::jthread thread;  // last: ends before what it uses
};

}  // namespace tarn::peers
