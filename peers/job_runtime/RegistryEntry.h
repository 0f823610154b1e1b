#pragma once

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "platform/resource_manager/ResourceManagerProxy.h"
#include "platform/resource_manager/RunningJob.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::peers {

/// This process's entry in the registry of running jobs. Once entered it is watched every second by
/// a thread of its own, and made again when a new service has lost it. A service that is away is no
/// reason to end: only what changes is logged.
class RegistryEntry {
  public:
    /// Enters; throws std::runtime_error with the reason when the resource manager cannot be
    /// reached or refuses.
    RegistryEntry(tarn::resource_manager::RunningJob job,
                  const tarn::socket::SocketEndpoint& resourcesEndpoint);
    ~RegistryEntry();  ///< leaves

    /// Asks the thread to leave the registry and waits up to 2 seconds for it. False when it is
    /// still waiting for a resource manager that does not answer; the destructor then waits for the
    /// rest of that, some seconds.
    bool leave();

  private:
    enum class Standing { Listed, Unreachable, Refused };

    void watch(const std::stop_token& token);
    void check();
    void unregister();
    void change(Standing now, const std::string& line);

    const tarn::resource_manager::RunningJob job;
    tarn::resource_manager::ResourceManagerProxy proxy;
    Standing standing = Standing::Listed;  // the thread's

    std::mutex mutex;
    std::condition_variable_any changed;
    bool left = false;    // guarded by mutex
    std::jthread thread;  // last: ends before what it uses
};

}  // namespace tarn::peers
