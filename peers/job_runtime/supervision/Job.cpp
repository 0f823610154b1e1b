#include "peers/job_runtime/supervision/Job.h"

#include <chrono>
#include <exception>
#include <utility>

#include "peers/job_runtime/events/EventPublisher.h"
#include "peers/job_runtime/pipeline/PipelineProcess.h"
#include "peers/job_runtime/registration/Admission.h"
#include "peers/job_runtime/registration/RegistryEntry.h"
#include "peers/job_runtime/supervision/CommandServer.h"
#include "peers/job_runtime/supervision/JobSupervisor.h"
#include "peers/job_runtime/supervision/ReservedEndpoints.h"
#include "platform/utils/Log.h"

namespace tarn::peers {

using tarn::socket::SocketEndpoint;

Job::Job(JobSetup jobSetup, std::unique_ptr<PipelineProcess> pipelineProcess,
         StopRequest& stopRequest, const std::string& logFile)
    : setup(std::move(jobSetup)),
      stop(stopRequest),
      persistence(setup),
      process(std::move(pipelineProcess)) {
    describe(logFile);
    makeEntry();
    events =
        std::make_unique<EventPublisher>(SocketEndpoint::FromString(setup.job.getEventEndpoint()),
                                         setup.job.getJobDescription().getJobId());
}

Job::~Job() = default;

void Job::describe(const std::string& logFile) {
    const bool kept = persistence.isKept();
    status.update([&](JobStatus::Reply& reply) {
        *reply.mutable_job_description() = setup.job.getJobDescription().toProtoJobDescription();
        reply.set_state(tarn::proto::job_monitoring::JOB_STATE_STARTING);
        reply.set_restarts(0);
        reply.set_log_file(logFile);
        reply.set_job_configuration(setup.pipeline);
        reply.set_persistent(kept);
    });
}

// A job from a file whose file is gone was ended for good while it waited for its turn.
void Job::makeEntry() {
    if (setup.resourcesEndpoint.empty()) {
        utils::logWarning("No resources endpoint was given: this job is not registered");
        return;
    }
    entry = std::make_unique<RegistryEntry>(
        setup.job, setup.resourcesEndpoint,
        [this](bool hadToWait) { return !mustBeStored(hadToWait) || persistence.isStored(); });
}

// Whoever ends a job for good removes its file while he has the claim: without the file this one
// was read, or launched, before that and comes too late.
bool Job::mustBeStored(bool hadToWait) const {
    return setup.comesBack || (hadToWait && !setup.persistentFile.empty());
}

// Why that failed; nothing when all are bound.
std::optional<std::string> Job::bindEndpoints() {
    try {
        reserved = std::make_unique<ReservedEndpoints>(setup.pullEndpoints, setup.publishEndpoints);
        commands = std::make_unique<CommandServer>(
            SocketEndpoint::FromString(setup.job.getCommandEndpoint()), setup.job.getOwner(),
            status, stop, persistence);
        return std::nullopt;
    } catch (const std::exception& e) {
        return e.what();
    }
}

// It leaves the registry before it says that it is over: who hears that may submit it again.
bool Job::run(SetupAnswer& answer) {
    Admission admission(entry.get(), std::chrono::steady_clock::now());
    JobSupervisor supervisor({setup, status, *events, stop, persistence, admission, answer},
                             std::move(process));
    if (const auto problem = bindEndpoints()) {
        supervisor.refuse(*problem);
    } else {
        supervisor.run();
    }
    hasLeft = !entry || entry->leave();
    supervisor.tellEnd();
    return supervisor.wasSetUp();
}

bool Job::close() {
    events->close();
    commands.reset();
    reserved.reset();
    return hasLeft;
}

}  // namespace tarn::peers
