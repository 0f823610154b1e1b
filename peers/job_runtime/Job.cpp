#include "peers/job_runtime/Job.h"

#include <chrono>
#include <exception>
#include <stdexcept>
#include <utility>

#include "peers/job_runtime/CommandServer.h"
#include "peers/job_runtime/EventPublisher.h"
#include "peers/job_runtime/JobClaim.h"
#include "peers/job_runtime/JobSupervisor.h"
#include "peers/job_runtime/PipelineCheck.h"
#include "peers/job_runtime/PipelineProcess.h"
#include "peers/job_runtime/RegistryEntry.h"
#include "peers/job_runtime/ReservedEndpoints.h"
#include "peers/job_runtime/StopRequest.h"
#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"

namespace tarn::peers {

using tarn::proto::pipeline_control::PipelineReport;
using tarn::socket::SocketEndpoint;

namespace {

constexpr std::chrono::seconds setupBound{20};
// As long as a job that was just told to end normally takes; the service waits 5 s for the answer.
constexpr std::chrono::milliseconds claimBound{4000};

}  // namespace

Job::Job(JobSetup jobSetup, std::unique_ptr<PipelineProcess> pipelineProcess,
         StopRequest& stopRequest, const std::string& logFile)
    : setup(std::move(jobSetup)),
      stop(stopRequest),
      persistence(setup),
      process(std::move(pipelineProcess)) {
    status.update([&](JobStatus::Reply& reply) {
        *reply.mutable_job_description() = setup.job.getJobDescription().toProtoJobDescription();
        reply.set_state(tarn::proto::job_monitoring::JOB_STATE_STARTING);
        reply.set_restarts(0);
        reply.set_pipeline_pid(process->id());
        reply.set_log_file(logFile);
        reply.set_job_configuration(setup.pipeline);
        reply.set_persistent(false);
    });
    const auto deadline = std::chrono::steady_clock::now() + setupBound;
    check(deadline);
    enterRegistry();
    bindEndpoints();
    prepare(deadline);
    keep();
}

Job::~Job() = default;

void Job::check(std::chrono::steady_clock::time_point deadline) {
    try {
        process->parse(setup.pipeline, setup.environment);
    } catch (const std::exception& e) {
        // It has ended, and the wait will tell how, or it hangs, and the wait ends.
        utils::logWarning(std::string("The pipeline process cannot be told: ") + e.what());
    }
    waitForReport(*process, PipelineReport::PARSED, deadline, stop);
}

void Job::enterRegistry() {
    if (setup.resourcesEndpoint.empty()) {
        utils::logWarning("No resources endpoint was given: this job is not registered");
        return;
    }
    try {
        claimId();
        entry = std::make_unique<RegistryEntry>(
            setup.job, SocketEndpoint::FromString(setup.resourcesEndpoint));
    } catch (const std::exception& e) {
        throw std::runtime_error(std::string("Job is not registered: ") + e.what());
    }
}

// A service that has lost its registry starts a persistent job beside the one that still runs. When
// that one ends meanwhile, this one takes its place, unless it was ended for good.
void Job::claimId() {
    const auto& id = setup.job.getJobDescription().getJobId();
    claim = std::make_unique<JobClaim>(setup.resourcesEndpoint, id, claimBound);
    if (claim->hadToWait() && !persistence.isStored()) {
        throw std::runtime_error("Already running: job " + utils::printable(id));
    }
}

void Job::bindEndpoints() {
    reserved = std::make_unique<ReservedEndpoints>(setup.pullEndpoints, setup.publishEndpoints);
    events =
        std::make_unique<EventPublisher>(SocketEndpoint::FromString(setup.job.getEventEndpoint()),
                                         setup.job.getJobDescription().getJobId());
    commands = std::make_unique<CommandServer>(
        SocketEndpoint::FromString(setup.job.getCommandEndpoint()), status, stop, persistence);
}

// A job that comes back could be prepared once: what it lacks now may come later, a server that has
// not been started yet or a track that somebody else still holds. It is played again as after any
// failure; refused, it would stay away until the next start of the service.
void Job::prepare(std::chrono::steady_clock::time_point deadline) {
    try {
        process->prepare();
        waitForReport(*process, PipelineReport::PREPARED, deadline, stop);
    } catch (const std::exception& e) {
        if (!persistence.isKept() || stop.wish() != StopRequest::Wish::None) {
            throw;
        }
        failure = e.what();
        process.reset();
    }
}

// What cannot be prepared does not take the place of what once could.
void Job::keep() {
    if (!failure) {
        persistence.keep();
    }
    const bool kept = persistence.isKept();
    status.update([&](JobStatus::Reply& reply) { reply.set_persistent(kept); });
}

void Job::run() {
    JobSupervisor supervisor({setup, status, *events, stop, persistence}, std::move(process),
                             failure.value_or(""));
    supervisor.run();
}

bool Job::close() {
    const bool left = !entry || entry->leave();
    events->close();
    commands.reset();
    reserved.reset();
    return left;
}

}  // namespace tarn::peers
