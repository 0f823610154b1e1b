#include "cli/client/RequestChannel.h"

#include <exception>

#include "cli/CommandError.h"
#include "platform/socket/Exchange.h"

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
    sent = Clock::now();
    open();
    try {
        socket->setTimeout(bound);
        socket->sendProtoBuf(&request);
    } catch (const std::exception&) {
        throw noAnswer(text, bound);
    }
}

void RequestChannel::receive(google::protobuf::Message& reply) {
    try {
        socket::awaitAnswer(*socket, wait());
        socket->receiveProtoBuf(&reply, largestReply);
    } catch (const socket::NoAnswer& none) {
        if (none.reason == socket::NoAnswer::Reason::NobodyListens) {
            throw CommandError(ExitStatus::NoAnswer, none.detail);
        }
        throw noAnswer(text, bound);
    } catch (const std::exception& e) {
        throw CommandError(ExitStatus::Failed, "unreadable answer from " + text + ": " + e.what());
    }
    absence = Absence::IsWaitedOut;
}

// Whether anybody listens is looked at once, when no answer comes: who is there answers before.
socket::AnswerWait RequestChannel::wait() const {
    socket::AnswerWait wait{.within = bound, .since = sent};
    if (absence == Absence::FailsAtOnce) {
        wait.looks = {.at = endpoint.get(),
                      .first = std::min(beforeLooking, bound / 2),
                      .again = bound,
                      .within = bound};
    }
    return wait;
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
