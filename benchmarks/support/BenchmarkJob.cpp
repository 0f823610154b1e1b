#include "benchmarks/support/BenchmarkJob.h"

#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "platform/socket/Exchange.h"
#include "proto/api_service.pb.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::benchmarks {

using namespace tarn::proto::api_service;
using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::JobToApiReply;
using tarn::proto::api_job::JobToApiReplyStatus;

namespace {

constexpr std::uint32_t largestReply = 1 << 20;

void ask(const std::string& endpoint, const google::protobuf::Message& request,
         google::protobuf::Message& reply) {
    socket::Socket socket("benchmark", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request, socket::SocketEndpoint::FromString(endpoint),
                            5000);
    socket::exchange(socket, request, reply, largestReply);
}

}  // namespace

BenchmarkJob BenchmarkJob::submit() {
    BenchmarkJob job;
    ApiToServiceRequest request;
    request.set_type(ApiToServiceRequest::JOB_SUBMISSION);
    auto& submission = *request.MutableExtension(ApiToServiceRequestJobSubmission::base);
    submission.mutable_job_description()->set_job_id(job.id);
    submission.mutable_job_description()->set_name("benchmark");
    submission.set_job_configuration(pipeline);
    ServiceToApiReply reply;
    ask("ipc:///tmp/requests", request, reply);
    job.commandEndpoint =
        reply.GetExtension(ServiceToApiReplyJobSubmission::base).first_job_endpoint();
    return job;
}

JobToApiReply BenchmarkJob::command(ApiToJobRequest::Type type) const {
    ApiToJobRequest request;
    request.set_type(type);
    JobToApiReply reply;
    ask(commandEndpoint, request, reply);
    return reply;
}

void BenchmarkJob::destroy() const {
    command(ApiToJobRequest::DESTROY);
}

void BenchmarkJob::waitUntilPlaying() const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
        const auto status = command(ApiToJobRequest::STATUS);
        if (status.GetExtension(JobToApiReplyStatus::base).state() ==
            tarn::proto::job_monitoring::JOB_STATE_PLAYING) {
            return;
        }
        ::usleep(500);
    }
    throw std::runtime_error("the job does not play");
}

}  // namespace tarn::benchmarks
