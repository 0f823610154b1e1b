#pragma once

#include <memory>

#include "platform/resource_manager/server/Backend.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::resource_manager {

class Registry;

/// Calls the registry that this process itself serves on an endpoint. The registry is looked up for
/// each operation: one that is not served any more fails, one that is served again is found.
class LocalBackend : public Backend {
  public:
    explicit LocalBackend(tarn::socket::SocketEndpoint endpoint);

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
    std::shared_ptr<Registry> registry() const;  // never null; throws

    const tarn::socket::SocketEndpoint endpoint;
};

}  // namespace tarn::resource_manager
