#pragma once

#include <memory>
#include <optional>
#include <string>

#include "peers/job_runtime/JobSetup.h"
#include "peers/job_runtime/events/JobStatus.h"
#include "peers/job_runtime/persistence/Persistence.h"

namespace tarn::peers {

class CommandServer;
class EventPublisher;
class PipelineProcess;
class RegistryEntry;
class ReservedEndpoints;
class SetupAnswer;
class StopRequest;

/// A job: its endpoints, its registry entry, the process that runs its pipeline.
class Job {
  public:
    /// Binds the event endpoint, so that whatever becomes of the job can be told. Throws
    /// std::exception with the reason. `process` may be none: then run starts one.
    Job(JobSetup setup, std::unique_ptr<PipelineProcess> process, StopRequest& stop,
        const std::string& logFile);
    ~Job();
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Answers the setup, plays, and returns after the job's last event. False for a job that was
    /// refused, whatever its answer was.
    bool run(SetupAnswer& answer);

    /// Gives the endpoints back. False when the resource manager does not answer: then destroying
    /// the job takes some seconds.
    bool close();

  private:
    void describe(const std::string& logFile);
    void makeEntry();
    bool mustBeStored(bool hadToWait) const;
    std::optional<std::string> bindEndpoints();

    const JobSetup setup;
    StopRequest& stop;
    JobStatus status;
    Persistence persistence;
    std::unique_ptr<PipelineProcess> process;
    std::unique_ptr<RegistryEntry> entry;  // none for a job that nobody lists
    bool hasLeft = true;
    std::unique_ptr<ReservedEndpoints> reserved;
    std::unique_ptr<EventPublisher> events;
    std::unique_ptr<CommandServer> commands;
};

}  // namespace tarn::peers
