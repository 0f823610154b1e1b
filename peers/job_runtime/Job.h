#pragma once

#include <memory>
#include <optional>
#include <string>

#include "peers/job_runtime/JobSetup.h"
#include "peers/job_runtime/JobStatus.h"
#include "peers/job_runtime/Persistence.h"

namespace tarn::peers {

class CommandServer;
class EventPublisher;
class JobClaim;
class PipelineProcess;
class RegistryEntry;
class ReservedEndpoints;
class StopRequest;

/// A job that was set up: its pipeline ready to play, its registry entry, its endpoints.
class Job {
  public:
    /// Makes all of it, or throws std::exception with the reason and leaves nothing. What the
    /// pipeline writes to is opened only once the job is registered: a second job of the same id
    /// must not touch the files of the first.
    Job(JobSetup setup, std::unique_ptr<PipelineProcess> process, StopRequest& stop,
        const std::string& logFile);
    ~Job();
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Plays, and returns after the job's last event.
    void run();

    /// Leaves the registry and gives the endpoints back. False when the resource manager does not
    /// answer: then destroying the job takes some seconds.
    bool close();

  private:
    void check(std::chrono::steady_clock::time_point deadline);
    void enterRegistry();
    void claimId();
    void bindEndpoints();
    void prepare(std::chrono::steady_clock::time_point deadline);
    void keep();

    const JobSetup setup;
    StopRequest& stop;
    JobStatus status;
    Persistence persistence;
    std::unique_ptr<PipelineProcess> process;  // none after a failure
    std::optional<std::string> failure;        // of the preparation of a job that came back
    std::unique_ptr<JobClaim> claim;
    std::unique_ptr<RegistryEntry> entry;
    std::unique_ptr<ReservedEndpoints> reserved;
    std::unique_ptr<EventPublisher> events;
    std::unique_ptr<CommandServer> commands;
};

}  // namespace tarn::peers
