#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/access/Owner.h"
#include "platform/os/ProcessIdentity.h"
#include "platform/resource_manager/JobDescription.h"
#include "proto/resource_manager.fwd.h"

namespace tarn::resource_manager {

/// A job that registered itself. A value; a default-constructed one is empty. Copies share their
/// content, which never changes: lists of hundreds of jobs are cheap to hand around.
class RunningJob {
  public:
    /// Resource name to values, each in the order given.
    using Resources = std::map<std::string, std::vector<std::string>>;

    RunningJob();
    RunningJob(JobDescription description, std::string commandEndpoint, std::string eventEndpoint,
               os::ProcessIdentity process, Resources resources, access::Owner owner = {});
    explicit RunningJob(const tarn::proto::resource_manager::RunningJob& job);

    const JobDescription& getJobDescription() const { return content->description; }
    const std::string& getCommandEndpoint() const { return content->commandEndpoint; }
    const std::string& getEventEndpoint() const { return content->eventEndpoint; }
    const os::ProcessIdentity& getProcess() const { return content->process; }
    const Resources& getResources() const { return content->resources; }
    const access::Owner& getOwner() const { return content->owner; }

    /// The values of one resource; empty when the job has none of that name.
    const std::vector<std::string>& getValuesOf(const std::string& resource) const;

    tarn::proto::resource_manager::RunningJob toProtoBuf() const;

    /// Whether this is a copy of `other`, and so equal to it: cheap. Jobs made apart are not the
    /// same record, whatever they hold.
    bool isSameRecordAs(const RunningJob& other) const { return content == other.content; }

  private:
    struct Content {
        JobDescription description;
        std::string commandEndpoint;
        std::string eventEndpoint;
        os::ProcessIdentity process;
        Resources resources;
        access::Owner owner;
    };
    static const std::shared_ptr<const Content>& emptyContent();

    std::shared_ptr<const Content> content;  // never null
};

}  // namespace tarn::resource_manager
