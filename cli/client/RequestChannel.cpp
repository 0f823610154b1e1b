#include "cli/client/RequestChannel.h"

#include <exception>

#include "cli/CommandError.h"
#include "platform/socket/NobodyListens.h"
#include "platform/socket/Socket.h"

namespace tarn::cli {

namespace {

// A list of very many jobs fits; nothing here is asked for that comes near it.
constexpr std::uint32_t largestReply = 64 * 1024 * 1024;

constexpr std::chrono::milliseconds beforeLooking{50};

}  // namespace

RequestChannel::RequestChannel(const socket::SocketEndpoint& endpoint, Absence absence)
    : endpoint(std::make_unique<socket::SocketEndpoint>(endpoint)),
      text(endpoint.toString(socket::Protocol::Request)),
      absence(absence) {}

RequestChannel::~RequestChannel() = default;
RequestChannel::RequestChannel(RequestChannel&&) noexcept = default;

void RequestChannel::ask(const google::protobuf::Message& request, google::protobuf::Message& reply,
                         std::chrono::milliseconds newBound) {
    send(request, newBound);
    receive(reply);
}

void RequestChannel::send(const google::protobuf::Message& request,
                          std::chrono::milliseconds newBound) {
    bound = newBound;
    deadline.emplace(bound);
    open();
    try {
        socket->setTimeout(bound);
        socket->sendProtoBuf(&request);
    } catch (const std::exception&) {
        throw noAnswer(text, bound);
    }
}

void RequestChannel::receive(google::protobuf::Message& reply) {
    std::string error;
    const int result = poll(error);
    if (result == 1) {
        throw noAnswer(text, bound);
    }
    if (result != 0) {
        throw CommandError(ExitStatus::Failed, "cannot wait for " + text + ": " + error);
    }
    try {
        socket->receiveProtoBuf(&reply, largestReply);
    } catch (const std::exception& e) {
        throw CommandError(ExitStatus::Failed, "unreadable answer from " + text + ": " + e.what());
    }
    absence = Absence::IsWaitedOut;
}

// Looked at only when no answer comes: who is there answers before.
int RequestChannel::poll(std::string& error) {
    if (absence == Absence::FailsAtOnce) {
        const auto first = std::min(deadline->remaining(), beforeLooking);
        const int result = socket->poll(static_cast<std::uint32_t>(first.count()), error);
        if (result != 1) {
            return result;
        }
        refuseIfNobodyListens();
    }
    return socket->poll(static_cast<std::uint32_t>(deadline->remaining().count()), error);
}

void RequestChannel::refuseIfNobodyListens() const {
    if (const auto reason = socket::whyNobodyListens(*endpoint, deadline->remaining())) {
        throw CommandError(ExitStatus::NoAnswer, *reason);
    }
}

void RequestChannel::open() {
    if (socket) {
        return;
    }
    auto opened = std::make_unique<socket::Socket>("tarnctl", socket::ClosePolicy::Discard);
    opened->createAndConnect(socket::Protocol::Request, *endpoint, /*timeoutMs=*/0);
    socket = std::move(opened);
}

}  // namespace tarn::cli
