#include "service/devices/protocol/DeviceRequestSocket.h"

#include <optional>
#include <utility>

#include "platform/socket/Exchange.h"
#include "proto/monitoring.pb.h"
#include "service/devices/DeviceDoor.h"

namespace tarn::service::devices {

namespace {

constexpr std::uint32_t connectWithinMs = 500;
constexpr std::uint32_t replyLimit = 524288;
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
        socket::checkSomebodyListens(socket, peerEndpoint, knockWithin);
    }
    peer = Peer::Doubtful;
    const bool answered = exchange(request, reply, within);
    peer = Peer::Answers;
    return answered;
}

bool DeviceRequestSocket::exchange(const Request& request, Reply& reply,
                                   std::chrono::milliseconds within) {
    socket.sendProtoBuf(&request);
    const bool answered = socket::awaitAnswer(socket, {.within = within,
                                                       .interruption = interruption.descriptor(),
                                                       .looks = {.at = &peerEndpoint}});
    if (answered) {
        receive(reply);
    }
    return answered;
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

void DeviceRequestSocket::interrupt() {
    interruption.ring();
}

void DeviceRequestSocket::resume() {
    interruption.reset();
}

// Can be connected again.
void DeviceRequestSocket::close() {
    const std::lock_guard lock(mutex);
    socket.close();
    socket.create(socket::Protocol::Request);
}

}  // namespace tarn::service::devices
