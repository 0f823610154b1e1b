#pragma once

#include <string>

#include "proto/job_monitoring.fwd.h"

namespace tarn::resource_manager {

/// What a job says of itself. A value.
class JobDescription {
  public:
    JobDescription() = default;
    explicit JobDescription(const tarn::proto::job_monitoring::JobDescription& description);

    const std::string& getName() const { return name; }
    const std::string& getJobId() const { return jobId; }
    const std::string& getDescription() const { return description; }
    const std::string& getCreator() const { return creator; }

    tarn::proto::job_monitoring::JobDescription toProtoJobDescription() const;

  private:
    std::string name;
    std::string jobId;
    std::string description;
    std::string creator;
};

}  // namespace tarn::resource_manager
