#include "tests/gateway/GatewayBed.h"

#include <unistd.h>

#include "platform/utils/UuidGenerator.h"

namespace tarn::test {

using socket::ClosePolicy;
using socket::Protocol;
using socket::SocketEndpoint;

namespace {

constexpr std::uint32_t largestBatch = 64U << 20U;
constexpr std::uint32_t patienceMs = 10000;
constexpr int queueLength = 8;  // short, so that who does not read is soon found too slow

std::unique_ptr<socket::Socket> open(Protocol protocol, const std::string& endpoint) {
    auto result = std::make_unique<socket::Socket>("test", ClosePolicy::Flush);
    if (protocol == Protocol::Subscribe) {
        result->setQueueLength(queueLength);
    }
    result->createAndConnect(protocol, SocketEndpoint::FromString(endpoint), patienceMs);
    return result;
}

}  // namespace

Subscriber::Subscriber(const std::string& endpoint) : socket(open(Protocol::Subscribe, endpoint)) {}

ServiceEventBatch Subscriber::next() {
    auto batch = poll(patienceMs);
    EXPECT_TRUE(batch) << "no batch came";
    return batch.value_or(ServiceEventBatch());
}

std::optional<ServiceEventBatch> Subscriber::poll(std::uint32_t boundMs) {
    std::string error;
    while (socket->poll(boundMs, error) == 0) {
        ServiceEventBatch batch;
        socket->receiveProtoBuf(&batch, largestBatch);
        if (batch.catch_up() || batch.sequence() > 0) {
            return batch;
        }
    }
    return std::nullopt;
}

GatewayBed::GatewayBed() : events("ipc:///tmp/tarn-test-" + utils::UuidGenerator::Generate()) {}

GatewayBed::~GatewayBed() {
    service.reset();
    program.reset();
    for (const auto& endpoint : {events, published}) {
        ::unlink(endpoint.substr(std::string("ipc://").size()).c_str());
    }
}

void GatewayBed::startGateway() {
    program = std::make_unique<Process>(
        std::vector<std::string>{TARN_GATEWAY_PROGRAM, "--events", events, "--requests", requests});
    ASSERT_TRUE(program->waitForErr("Gateway > started"));
    if (!service) {
        service = open(Protocol::Push, events);
    }
}

int GatewayBed::stopGateway(int signal) {
    program->signal(signal);
    const auto result = program->wait();
    EXPECT_TRUE(result.exitStatus == 0 || result.signal == signal) << result.out;
    return result.exitStatus;
}

void GatewayBed::restartService() {
    service.reset();
    service = open(Protocol::Push, events);
}

void GatewayBed::send(const ServiceEventBatch& batch) {
    service->sendProtoBuf(&batch);
}

void GatewayBed::sendBytes(const std::string& bytes) {
    service->sendBytes(bytes);
}

}  // namespace tarn::test
