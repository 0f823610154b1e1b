#include "peers/device/PushChannel.h"

#include "proto/monitoring.pb.h"

namespace tarn::peers {

namespace {

// A receiver that is away for long should not find a heap of old news: what does not fit becomes
// one difference when it is back.
constexpr int queueLength = 16;

}  // namespace

PushChannel::PushChannel(const tarn::socket::SocketEndpoint& endpoint)
    : serviceEnd(endpoint), socket("Device events", tarn::socket::ClosePolicy::Flush) {
    socket.setQueueLength(queueLength);
    socket.createAndConnect(tarn::socket::Protocol::Push, endpoint, 0);
}

std::string PushChannel::endpoint() const {
    return serviceEnd.toString(tarn::socket::Protocol::None);
}

void PushChannel::send(const tarn::proto::monitoring::DeviceToTarnServiceEvent& event) {
    socket.sendProtoBuf(&event);
}

}  // namespace tarn::peers
