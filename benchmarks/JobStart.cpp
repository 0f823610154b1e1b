#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/BenchmarkJob.h"
#include "benchmarks/support/Samples.h"
#include "platform/socket/Exchange.h"
#include "platform/utils/UuidGenerator.h"
#include "proto/service_job.pb.h"
#include "tests/support/Spawn.h"

namespace tarn::benchmarks {

namespace {

using tarn::proto::service_job::JobToServiceReply;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;

constexpr auto launcher = "/opt/halden/halden-tarn-workflow-launcher/bin/tarnWorkflowLauncher";
constexpr int rounds = 30;
constexpr std::uint32_t replyLimit = 1 << 20;

void spawnLauncher(const std::string& label, const std::string& setupEndpoint) {
    ::waitpid(test::spawn({launcher, "-l", label, "-e", setupEndpoint, "-d"}), nullptr,
              0);  // it detaches
}

BenchmarkJob startByHand() {
    BenchmarkJob job;
    job.commandEndpoint = "ipc:///tmp/" + utils::UuidGenerator::Generate();
    const auto setupEndpoint = "ipc:///tmp/" + utils::UuidGenerator::Generate();
    spawnLauncher(job.id, setupEndpoint);
    socket::Socket socket("benchmark", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request,
                            socket::SocketEndpoint::FromString(setupEndpoint), 5000);
    ServiceToJobRequest request;
    request.set_type(ServiceToJobRequest::SETUP);
    auto& setup = *request.MutableExtension(ServiceToJobRequestSetup::base);
    setup.mutable_job_description()->set_job_id(job.id);
    setup.mutable_job_description()->set_name("benchmark");
    setup.set_job_configuration(BenchmarkJob::pipeline);
    setup.set_first_job_endpoint(job.commandEndpoint);
    setup.set_second_job_endpoint("ipc:///tmp/" + utils::UuidGenerator::Generate());
    setup.set_resources_endpoint("ipc:///tmp/resource");
    JobToServiceReply reply;
    socket::exchange(socket, request, reply, replyLimit);
    if (!reply.success()) {
        throw std::runtime_error("setup refused: " + reply.error_message());
    }
    return job;
}

template <typename Start>
void measure(Start start, Samples& samples) {
    const auto begin = std::chrono::steady_clock::now();
    const BenchmarkJob job = start();
    job.waitUntilPlaying();
    samples.add(std::chrono::steady_clock::now() - begin);
    job.destroy();
}

}  // namespace

void measureJobStart() {
    Samples warmUp;
    measure(BenchmarkJob::submit, warmUp);
    measure(startByHand, warmUp);
    Samples submitted;
    Samples byHand;
    for (int i = 0; i < rounds; ++i) {
        measure(BenchmarkJob::submit, submitted);
        measure(startByHand, byHand);
    }
    report("submission to playing", submitted, "the same launcher started by hand", byHand);
}

}  // namespace tarn::benchmarks
