#include "peers/job_runtime/Job.h"

#include <chrono>
#include <exception>
#include <utility>

#include "peers/job_runtime/CommandServer.h"
#include "peers/job_runtime/EventPublisher.h"
#include "peers/job_runtime/JobSupervisor.h"
#include "peers/job_runtime/PersistentFile.h"
#include "peers/job_runtime/PipelineCheck.h"
#include "peers/job_runtime/PipelineProcess.h"
#include "peers/job_runtime/RegistryEntry.h"
#include "peers/job_runtime/ReservedEndpoints.h"
#include "platform/utils/Log.h"

namespace tarn::peers {

using tarn::proto::pipeline_control::PipelineReport;
using tarn::socket::SocketEndpoint;

namespace {

constexpr std::chrono::seconds setupBound{20};

}  // namespace

Job::Job(JobSetup jobSetup, std::unique_ptr<PipelineProcess> pipelineProcess,
         StopRequest& stopRequest, const std::string& logFile)
    : setup(std::move(jobSetup)), stop(stopRequest), process(std::move(pipelineProcess)) {
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
    } else {
        entry = std::make_unique<RegistryEntry>(
            setup.job, SocketEndpoint::FromString(setup.resourcesEndpoint));
    }
}

void Job::bindEndpoints() {
    reserved = std::make_unique<ReservedEndpoints>(setup.pullEndpoints, setup.publishEndpoints);
    events =
        std::make_unique<EventPublisher>(SocketEndpoint::FromString(setup.job.getEventEndpoint()),
                                         setup.job.getJobDescription().getJobId());
    commands = std::make_unique<CommandServer>(
        SocketEndpoint::FromString(setup.job.getCommandEndpoint()), status, stop);
}

void Job::prepare(std::chrono::steady_clock::time_point deadline) {
    process->prepare();
    waitForReport(*process, PipelineReport::PREPARED, deadline, stop);
}

void Job::keep() {
    if (setup.persistentFile.empty()) {
        return;
    }
    try {
        auto file = std::make_unique<PersistentFile>(setup.persistentFile);
        file->write(setup.persistentContent);
        persistentFile = std::move(file);
        status.update([](JobStatus::Reply& reply) { reply.set_persistent(true); });
    } catch (const std::exception& e) {
        utils::logError(std::string("This job is not persistent: ") + e.what());
    }
}

void Job::run() {
    JobSupervisor supervisor({setup, status, *events, stop, persistentFile.get()},
                             std::move(process));
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
