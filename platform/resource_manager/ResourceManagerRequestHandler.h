#pragma once

#include <memory>
#include <string>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::resource_manager {

/// Keeps the registry of running jobs and answers proxies on a resources endpoint, on a thread of
/// its own. The registry is one file per endpoint and outlives the process, so that a service that
/// was killed finds its jobs again. Call from one thread at a time; only the end may come from
/// another thread while start has not returned, whose registry may be on a disk that hangs.
class ResourceManagerRequestHandler {
  public:
    /// Registry files go to `registryFolder`; empty chooses "/run/halden-tarn", or a folder
    /// "halden-tarn" in the user's run-time folder when that cannot be written.
    explicit ResourceManagerRequestHandler(std::string registryFolder = {});
    ~ResourceManagerRequestHandler();  ///< terminates

    /// Opens the registry and the endpoint. False, with the reason logged, when the endpoint cannot
    /// be bound. A registry file that cannot be read is put aside under another name and a new one
    /// begun; one that cannot be written is replaced by memory, with an error in the log. Jobs that
    /// died since are removed. A started handler is terminated first.
    bool start(const tarn::socket::SocketEndpoint& endpoint);

    /// From now on registrations are refused, so that a list of the running jobs taken afterwards
    /// is the last word: for a service that is stopping. False when no registry is kept here, and
    /// so none refuses: another service may have the endpoint.
    bool refuseRegistrations();

    /// Stops and joins the thread; the registry file stays. Safe when not started.
    void terminate();

  private:
    struct Implementation;
    std::unique_ptr<Implementation> impl;
};

/// The process's handler; created on first use, destroyed at exit.
ResourceManagerRequestHandler& GetResourceManagerRequestHandler();

}  // namespace tarn::resource_manager
