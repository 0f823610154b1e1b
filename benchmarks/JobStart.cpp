#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/Samples.h"
#include "platform/socket/Socket.h"
#include "platform/utils/UuidGenerator.h"
#include "proto/api_job.pb.h"
#include "proto/api_service.pb.h"
#include "proto/job_monitoring.pb.h"
#include "proto/service_job.pb.h"
#include "tests/support/Spawn.h"

namespace tarn::benchmarks {

namespace {

using namespace tarn::proto::api_service;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::JobToApiReply;
using tarn::proto::api_job::JobToApiReplyStatus;
using tarn::proto::service_job::JobToServiceReply;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;

constexpr auto launcher = "/opt/halden/halden-tarn-workflow-launcher/bin/tarnWorkflowLauncher";
constexpr auto pipeline = "videotestsrc is-live=true ! fakesink";
constexpr int rounds = 30;
constexpr std::uint32_t replyLimit = 1 << 20;

struct Job {
    std::string id = utils::UuidGenerator::Generate();
    std::string commandEndpoint;
};

socket::SocketEndpoint endpointOf(const std::string& text) {
    return socket::SocketEndpoint::FromString(text);
}

JobToApiReply command(const Job& job, ApiToJobRequest::Type type) {
    socket::Socket socket("benchmark", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request, endpointOf(job.commandEndpoint), 5000);
    ApiToJobRequest request;
    request.set_type(type);
    socket.sendProtoBuf(&request);
    JobToApiReply reply;
    socket.receiveProtoBuf(&reply, replyLimit);
    return reply;
}

void waitUntilPlaying(const Job& job) {
    socket::Socket socket("benchmark", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request, endpointOf(job.commandEndpoint), 5000);
    ApiToJobRequest request;
    request.set_type(ApiToJobRequest::STATUS);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
        socket.sendProtoBuf(&request);
        JobToApiReply reply;
        socket.receiveProtoBuf(&reply, replyLimit);
        if (reply.GetExtension(JobToApiReplyStatus::base).state() ==
            tarn::proto::job_monitoring::JOB_STATE_PLAYING) {
            return;
        }
        ::usleep(500);
    }
    throw std::runtime_error("the job does not play");
}

Job submit() {
    Job job;
    socket::Socket socket("benchmark", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request, endpointOf("ipc:///tmp/requests"), 5000);
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::JOB_SUBMISSION);
    auto& submission = *request.MutableExtension(ApiToServiceRequestJobSubmission::base);
    submission.mutable_job_description()->set_job_id(job.id);
    submission.mutable_job_description()->set_name("benchmark");
    submission.set_job_configuration(pipeline);
    socket.sendProtoBuf(&request);
    ServiceToApiReply reply;
    socket.receiveProtoBuf(&reply, replyLimit);
    job.commandEndpoint =
        reply.GetExtension(ServiceToApiReplyJobSubmission::base).first_job_endpoint();
    return job;
}

void spawnLauncher(const std::string& label, const std::string& setupEndpoint) {
    ::waitpid(test::spawn({launcher, "-l", label, "-e", setupEndpoint, "-d"}), nullptr,
              0);  // it detaches
}

Job startByHand() {
    Job job;
    job.commandEndpoint = "ipc:///tmp/" + utils::UuidGenerator::Generate();
    const auto setupEndpoint = "ipc:///tmp/" + utils::UuidGenerator::Generate();
    spawnLauncher(job.id, setupEndpoint);
    socket::Socket socket("benchmark", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request, endpointOf(setupEndpoint), 5000);
    ServiceToJobRequest request;
    request.set_type(ServiceToJobRequest::SETUP);
    auto& setup = *request.MutableExtension(ServiceToJobRequestSetup::base);
    setup.mutable_job_description()->set_job_id(job.id);
    setup.mutable_job_description()->set_name("benchmark");
    setup.set_job_configuration(pipeline);
    setup.set_first_job_endpoint(job.commandEndpoint);
    setup.set_second_job_endpoint("ipc:///tmp/" + utils::UuidGenerator::Generate());
    setup.set_resources_endpoint("ipc:///tmp/resource");
    socket.sendProtoBuf(&request);
    JobToServiceReply reply;
    socket.receiveProtoBuf(&reply, replyLimit);
    if (!reply.success()) {
        throw std::runtime_error("setup refused: " + reply.error_message());
    }
    return job;
}

template <typename Start>
void measure(Start start, Samples& samples) {
    const auto begin = std::chrono::steady_clock::now();
    const Job job = start();
    waitUntilPlaying(job);
    samples.add(std::chrono::steady_clock::now() - begin);
    command(job, ApiToJobRequest::DESTROY);
}

}  // namespace

void measureJobStart() {
    Samples warmUp;
    measure(submit, warmUp);
    measure(startByHand, warmUp);
    Samples submitted;
    Samples byHand;
    for (int i = 0; i < rounds; ++i) {
        measure(submit, submitted);
        measure(startByHand, byHand);
    }
    report("submission to playing", submitted, "the same launcher started by hand", byHand);
}

}  // namespace tarn::benchmarks
