#include "platform/resource_manager/RunningJob.h"

#include <utility>

#include "proto/resource_manager.pb.h"

namespace tarn::resource_manager {

namespace {

RunningJob::Resources resourcesOf(const tarn::proto::resource_manager::RunningJob& job) {
    RunningJob::Resources resources;
    for (const auto& resource : job.resources()) {
        auto& values = resources[resource.name()];
        values.insert(values.end(), resource.values().begin(), resource.values().end());
    }
    return resources;
}

}  // namespace

// Never destroyed: jobs that others hold may outlive static objects.
const std::shared_ptr<const RunningJob::Content>& RunningJob::emptyContent() {
    static const auto* const empty =
        new std::shared_ptr<const Content>(std::make_shared<Content>());
    return *empty;
}

RunningJob::RunningJob() : content(emptyContent()) {}

RunningJob::RunningJob(JobDescription description, std::string commandEndpoint,
                       std::string eventEndpoint, os::ProcessIdentity process, Resources resources,
                       access::Owner owner)
    : content(std::make_shared<const Content>(
          Content{std::move(description), std::move(commandEndpoint), std::move(eventEndpoint),
                  process, std::move(resources), std::move(owner)})) {}

RunningJob::RunningJob(const tarn::proto::resource_manager::RunningJob& job)
    : RunningJob(JobDescription(job.job_description()), job.command_endpoint(),
                 job.event_endpoint(), {job.process_id(), job.process_start_time()},
                 resourcesOf(job), access::Owner(job.owner())) {}

const std::vector<std::string>& RunningJob::getValuesOf(const std::string& resource) const {
    static const auto* const none = new std::vector<std::string>();
    const auto found = content->resources.find(resource);
    return found == content->resources.end() ? *none : found->second;
}

tarn::proto::resource_manager::RunningJob RunningJob::toProtoBuf() const {
    tarn::proto::resource_manager::RunningJob message;
    *message.mutable_job_description() = content->description.toProtoJobDescription();
    message.set_command_endpoint(content->commandEndpoint);
    message.set_event_endpoint(content->eventEndpoint);
    message.set_process_id(content->process.id);
    message.set_process_start_time(content->process.startTime);
    for (const auto& [name, values] : content->resources) {
        auto* const resource = message.add_resources();
        resource->set_name(name);
        resource->mutable_values()->Add(values.begin(), values.end());
    }
    if (!content->owner.isNobody()) {
        *message.mutable_owner() = content->owner.toProtoBuf();
    }
    return message;
}

}  // namespace tarn::resource_manager
