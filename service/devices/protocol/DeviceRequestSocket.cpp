#include "service/devices/protocol/DeviceRequestSocket.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "platform/socket/NobodyListens.h"
#include "proto/monitoring.pb.h"
#include "service/devices/DeviceDoor.h"

namespace tarn::service::devices {

namespace {

constexpr std::uint32_t connectWithinMs = 500;
constexpr std::uint32_t replyLimit = 524288;
constexpr std::chrono::milliseconds quickAnswer{100};
constexpr std::chrono::milliseconds betweenKnocks{500};
constexpr std::chrono::milliseconds knockWithin{100};

}  // namespace

DeviceRequestSocket::DeviceRequestSocket(const std::string& name,
                                         std::chrono::milliseconds answerWithin)
    : answerWithin(answerWithin), socket(name, socket::ClosePolicy::Discard) {
    socket.create(socket::Protocol::Request);
    socket.setTimeout(answerWithin);
}

void DeviceRequestSocket::connect(const socket::SocketEndpoint& endpoint) {
    const std::lock_guard lock(mutex);
    socket.connect(endpoint, connectWithinMs);
    peerEndpoint = endpoint;
    peer = Peer::Answers;
}

bool DeviceRequestSocket::ask(const Request& request, Reply& reply) {
    return ask(request, reply, answerWithin);
}

bool DeviceRequestSocket::ask(const Request& request, Reply& reply,
                              std::chrono::milliseconds within) {
    const std::lock_guard lock(mutex);
    if (peer == Peer::Doubtful) {
        checkSomebodyListens();
    }
    peer = Peer::Doubtful;
    const bool answered = exchange(request, reply, within);
    peer = Peer::Answers;
    return answered;
}

bool DeviceRequestSocket::exchange(const Request& request, Reply& reply,
                                   std::chrono::milliseconds within) {
    socket.sendProtoBuf(&request);
    if (!awaitAnswer(within)) {
        return false;
    }
    receive(reply);
    return true;
}

void DeviceRequestSocket::receive(Reply& reply) {
    std::optional<Refusal> refusal;
    socket.receiveProtoBuf(&reply, replyLimit, [&](std::string_view bytes) {
        refusal = refusalOfReply(bytes, replyLimit);
        return !refusal;
    });
    if (refusal) {
        throw RefusedDescription(std::move(*refusal));
    }
}

// False when it was interrupted.
bool DeviceRequestSocket::awaitAnswer(std::chrono::milliseconds within) {
    auto left = within;
    for (auto wait = std::min(left, quickAnswer); !hasAnswered(wait);
         wait = std::min(left, betweenKnocks)) {
        if (isInterrupted) {
            return false;
        }
        left -= wait;
        if (left.count() <= 0) {
            throw std::runtime_error(socket.debugString() + ": nothing was received within " +
                                     std::to_string(within.count()) + " ms");
        }
        checkSomebodyListens();
    }
    return true;
}

bool DeviceRequestSocket::hasAnswered(std::chrono::milliseconds within) {
    std::string error;
    const auto bound = static_cast<std::uint32_t>(within.count());
    const int result = socket.pollWith(interruption.descriptor(), bound, error);
    if (result != 0 && result != 1) {
        throw std::runtime_error(error);
    }
    return result == 0;
}

void DeviceRequestSocket::checkSomebodyListens() const {
    if (const auto why = socket::whyNobodyListens(peerEndpoint, knockWithin)) {
        throw std::runtime_error(socket.debugString() + ": " + *why);
    }
}

void DeviceRequestSocket::interrupt() {
    isInterrupted = true;
    interruption.ring();
}

void DeviceRequestSocket::resume() {
    isInterrupted = false;
    interruption.reset();
}

// Can be connected again.
void DeviceRequestSocket::close() {
    const std::lock_guard lock(mutex);
    socket.close();
    socket.create(socket::Protocol::Request);
}

}  // namespace tarn::service::devices
