#include "peers/job_runtime/launcher/SetupServer.h"

#include <google/protobuf/message.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/utils/Log.h"

namespace tarn::peers {

namespace {

constexpr std::uint32_t maxSetupBytes = 11U << 20U;

}  // namespace

SetupServer::SetupServer(const std::string& endpoint, const SetupProtocol& protocol)
    : protocol(protocol),
      socket(tarn::socket::makeAnsweringSocket(
          "Setup endpoint", tarn::socket::SocketEndpoint::FromString(endpoint), maxSetupBytes)),
      server(*socket, [this](tarn::socket::Socket&) { receive(); },
             {.notServed = "Setup not received: ", .notWaited = "Cannot wait for the setup: "}) {}

std::optional<JobSetup> SetupServer::wait(Clock::time_point deadline, StopRequest& stop) {
    while (!received && Clock::now() < deadline && stop.take() == StopRequest::Wish::None) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        server.serveOne(std::max(left, std::chrono::milliseconds(0)), stop.descriptor());
    }
    return std::exchange(received, std::nullopt);
}

void SetupServer::receive() {
    const auto request = protocol.newRequest();
    socket->receiveProtoBuf(request.get(), maxSetupBytes);
    try {
        received = protocol.read(*request);
    } catch (const std::invalid_argument& e) {
        utils::logWarning(std::string("Setup refused: ") + e.what());
        send({.refusal = e.what(), .warning = {}});
    }
}

void SetupServer::answer(const SetupVerdict& verdict) {
    send(verdict);
    socket->close();
}

void SetupServer::send(const SetupVerdict& verdict) {
    const auto reply = protocol.makeReply(verdict);
    try {
        socket->sendProtoBuf(reply.get());
    } catch (const std::exception& e) {
        utils::logWarning(std::string("Setup answer not sent: ") + e.what());
    }
}

}  // namespace tarn::peers
