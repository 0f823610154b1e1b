#include "peers/job_runtime/launcher/SetupServer.h"

#include <google/protobuf/message.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/os/UserName.h"
#include "platform/utils/Log.h"

namespace tarn::peers {

namespace {

constexpr std::uint32_t maxSetupBytes = 11U << 20U;

// Whoever sets a job up has it run what he likes, as this user.
std::optional<std::string> whyNotSetUpBy(const tarn::socket::Peer& sender) {
    if (sender.transport != tarn::socket::Transport::Ipc ||
        (sender.user && (sender.user->user == 0 || sender.user->user == ::geteuid()))) {
        return std::nullopt;
    }
    return "Access denied: only " + os::describeUser(::geteuid()) +
           " and root set this job up, not " +
           (sender.user ? os::describeUser(sender.user->user) : "somebody unknown");
}

}  // namespace

SetupServer::SetupServer(const std::string& endpoint, const SetupProtocol& protocol)
    : protocol(protocol),
      socket(tarn::socket::makeAnsweringSocket("Setup endpoint",
                                               tarn::socket::SocketEndpoint::FromString(endpoint),
                                               tarn::socket::Audience::OwnPrograms, maxSetupBytes)),
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
    if (const auto why = whyNotSetUpBy(socket->sender())) {
        return refuse(*why);
    }
    try {
        received = protocol.read(*request);
    } catch (const std::invalid_argument& e) {
        refuse(e.what());
    }
}

void SetupServer::refuse(const std::string& why) {
    utils::logWarning("Setup refused: " + why);
    send({.refusal = why, .warning = {}});
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
