#include "benchmarks/recovery/ByHand.h"

#include <future>
#include <stdexcept>
#include <vector>

#include "benchmarks/recovery/Jobs.h"
#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/UuidGenerator.h"
#include "tests/support/Process.h"

namespace tarn::benchmarks {

using proto::service_job::JobToServiceReply;
using proto::service_job::ServiceToJobRequestSetup;

namespace {

constexpr auto launcher = "/opt/halden/halden-tarn-workflow-launcher/bin/tarnWorkflowLauncher";
constexpr std::uint32_t appearsWithinMs = 5000;
constexpr std::uint32_t replyLimit = 1 << 20;

void startOne() {
    const auto request = newSetup();
    const auto& id =
        request.GetExtension(ServiceToJobRequestSetup::base).job_description().job_id();
    const auto endpoint = "ipc:///tmp/" + utils::UuidGenerator::Generate();
    test::Process program({launcher, "-l", id, "-e", endpoint, "-d"});
    socket::Socket socket("Setup", socket::ClosePolicy::Discard);
    socket.createAndConnect(socket::Protocol::Request, socket::SocketEndpoint::FromString(endpoint),
                            appearsWithinMs);
    socket.sendProtoBuf(&request);
    JobToServiceReply reply;
    socket.receiveProtoBuf(&reply, replyLimit);
    if (!reply.success()) {
        throw std::runtime_error("setup refused: " + reply.error_message());
    }
    program.waitForEnd(std::chrono::seconds(5));  // it detaches
}

void startSome(std::size_t jobs) {
    for (std::size_t n = 0; n < jobs; ++n) {
        startOne();
    }
}

}  // namespace

void startByHand(std::size_t jobs, std::size_t atOnce) {
    std::vector<std::future<void>> shares;
    for (std::size_t n = 0; n < atOnce; ++n) {
        shares.push_back(std::async(std::launch::async, startSome, jobs / atOnce));
    }
    for (auto& share : shares) {
        share.get();
    }
}

}  // namespace tarn::benchmarks
