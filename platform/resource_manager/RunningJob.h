#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/resource_manager/JobDescription.h"
#include "platform/resource_manager/ProcessIdentity.h"

namespace tarn::proto::resource_manager {
class RunningJob;
}

namespace tarn::resource_manager {

/// A job that registered itself. A value; a default-constructed one is empty.
class RunningJob {
  public:
    /// Resource name to values, each in the order given.
    using Resources = std::map<std::string, std::vector<std::string>>;

    RunningJob() = default;
    RunningJob(JobDescription description, std::string commandEndpoint, std::string eventEndpoint,
               ProcessIdentity process, Resources resources);
    explicit RunningJob(const tarn::proto::resource_manager::RunningJob& job);

    const JobDescription& getJobDescription() const { return description; }
    const std::string& getCommandEndpoint() const { return commandEndpoint; }
    const std::string& getEventEndpoint() const { return eventEndpoint; }
    const ProcessIdentity& getProcess() const { return process; }
    const Resources& getResources() const { return resources; }

    tarn::proto::resource_manager::RunningJob toProtoBuf() const;

  private:
    JobDescription description;
    std::string commandEndpoint;
    std::string eventEndpoint;
    ProcessIdentity process;
    Resources resources;
};

}  // namespace tarn::resource_manager
