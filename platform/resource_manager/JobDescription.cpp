#include "platform/resource_manager/JobDescription.h"

#include "proto/job_monitoring.pb.h"

namespace tarn::resource_manager {

JobDescription::JobDescription(const tarn::proto::job_monitoring::JobDescription& description)
    : name(description.name()),
      jobId(description.job_id()),
      description(description.description()),
      creator(description.creator()) {}

tarn::proto::job_monitoring::JobDescription JobDescription::toProtoJobDescription() const {
    tarn::proto::job_monitoring::JobDescription message;
    message.set_name(name);
    message.set_job_id(jobId);
    message.set_description(description);
    message.set_creator(creator);
    return message;
}

}  // namespace tarn::resource_manager
