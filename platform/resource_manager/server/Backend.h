#pragma once

#include <chrono>
#include <list>
#include <string>

#include "platform/resource_manager/DeltacastConfiguration.h"
#include "platform/resource_manager/RunningJob.h"
#include "platform/resource_manager/registry/PropertyMatch.h"

namespace tarn::resource_manager {

/// How a proxy reaches a resource manager. Any thread. Refusals and failures are
/// std::runtime_error with a text for people.
class Backend {
  public:
    virtual ~Backend() = default;

    virtual std::list<RunningJob> runningJobs() = 0;
    virtual std::list<RunningJob> jobsThatMatch(const PropertyMatch& match) = 0;
    virtual RunningJob runningJobWithUuid(const std::string& uuid) = 0;
    virtual std::list<std::string> usedResources(const std::string& type) = 0;
    virtual void clearDeadProcesses() = 0;
    virtual void registerJob(const RunningJob& job) = 0;
    virtual void unregisterJob(const std::string& uuid) = 0;
    virtual void setDeltacastConfiguration(const DeltacastConfiguration& configuration) = 0;
    virtual DeltacastConfiguration deltacastConfiguration() = 0;

    /// As ResourceManagerProxy::awaitLoss. Whoever asks something meanwhile may wait as long.
    virtual bool awaitLoss(int interruption, std::chrono::milliseconds bound) = 0;
};

}  // namespace tarn::resource_manager
