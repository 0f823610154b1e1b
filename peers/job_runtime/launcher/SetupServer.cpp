#include "peers/job_runtime/launcher/SetupServer.h"

#include <google/protobuf/message.h>

#include <exception>
#include <stdexcept>

#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/utils/Log.h"

namespace tarn::peers {

namespace {

constexpr std::uint32_t pollMs = 100;
constexpr std::uint32_t maxSetupBytes = 11U << 20U;

}  // namespace

SetupServer::SetupServer(const std::string& endpoint, const SetupProtocol& protocol)
    : protocol(protocol), socket("Setup endpoint", tarn::socket::ClosePolicy::Flush) {
    socket.createAndConnect(tarn::socket::Protocol::Reply,
                            tarn::socket::SocketEndpoint::FromString(endpoint), 0);
}

std::optional<JobSetup> SetupServer::wait(Clock::time_point deadline, StopRequest& stop) {
    std::string error;
    while (Clock::now() < deadline && stop.take() == StopRequest::Wish::None) {
        const int polled = socket.poll(pollMs, error);
        if (polled == 2) {
            throw std::runtime_error("Cannot wait for the setup: " + error);
        }
        if (polled == 0) {
            if (auto setup = receive()) {
                return setup;
            }
        }
    }
    return std::nullopt;
}

std::optional<JobSetup> SetupServer::receive() {
    const auto request = protocol.newRequest();
    try {
        socket.receiveProtoBuf(request.get(), maxSetupBytes);
    } catch (const std::exception& e) {
        utils::logWarning(std::string("Setup not received: ") + e.what());
        return std::nullopt;
    }
    try {
        return protocol.read(*request);
    } catch (const std::invalid_argument& e) {
        utils::logWarning(std::string("Setup refused: ") + e.what());
        send({.refusal = e.what(), .warning = {}});
        return std::nullopt;
    }
}

void SetupServer::answer(const SetupVerdict& verdict) {
    send(verdict);
    socket.close();
}

void SetupServer::send(const SetupVerdict& verdict) {
    const auto reply = protocol.makeReply(verdict);
    try {
        socket.sendProtoBuf(reply.get());
    } catch (const std::exception& e) {
        utils::logWarning(std::string("Setup answer not sent: ") + e.what());
    }
}

}  // namespace tarn::peers
