#pragma once

#include <chrono>

#include "platform/resource_manager/server/Backend.h"
#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/Synchronised.h"
#include "proto/resource_manager.fwd.h"

namespace tarn::resource_manager {

/// Asks a resource manager over one socket, one request after the other. After a failure the
/// connection is made anew, so that nothing of the failed request is left to arrive later, and the
/// next operation works as soon as the resource manager is back.
class SocketBackend : public Backend {
  public:
    struct Bounds {
        std::chrono::milliseconds connecting{2000};
        std::chrono::milliseconds answer{5000};
    };

    /// Waits for the resource manager; throws std::runtime_error when it is not there in time.
    explicit SocketBackend(tarn::socket::SocketEndpoint endpoint);
    SocketBackend(tarn::socket::SocketEndpoint endpoint, Bounds bounds);

    std::list<RunningJob> runningJobs() override;
    std::list<RunningJob> jobsThatMatch(const PropertyMatch& match) override;
    RunningJob runningJobWithUuid(const std::string& uuid) override;
    std::list<std::string> usedResources(const std::string& type) override;
    void clearDeadProcesses() override;
    void registerJob(const RunningJob& job) override;
    void unregisterJob(const std::string& uuid) override;
    void setDeltacastConfiguration(const DeltacastConfiguration& configuration) override;
    DeltacastConfiguration deltacastConfiguration() override;
    bool awaitLoss(int interruption, std::chrono::milliseconds bound) override;

  private:
    struct RegistryConnection {
        tarn::socket::Socket socket{"Resource manager proxy", tarn::socket::ClosePolicy::Discard};
    };

    tarn::proto::resource_manager::Reply ask(const tarn::proto::resource_manager::Request& request);
    void receiveAnswer(const tarn::proto::resource_manager::Request& request,
                       tarn::proto::resource_manager::Reply& reply);

    const tarn::socket::SocketEndpoint endpoint;
    const std::chrono::milliseconds answerBound;
    tarn::utils::Synchronised<RegistryConnection> connection;
};

}  // namespace tarn::resource_manager
