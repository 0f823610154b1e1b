#include "cli/events/BatchSubscription.h"

#include <exception>
#include <stdexcept>
#include <string>

#include "cli/CommandError.h"
#include "proto/service_event.pb.h"

namespace tarn::cli {

using Received = BatchSource::Received;

namespace {

constexpr std::uint32_t largestBatch = 64U << 20U;
// Each may hold a whole tree, and they pile up while this process is suspended.
constexpr int longestQueue = 64;

}  // namespace

BatchSubscription::BatchSubscription(const tarn::socket::SocketEndpoint& endpoint)
    : socket("events", tarn::socket::ClosePolicy::Discard) {
    try {
        socket.setQueueLength(longestQueue);
        socket.createAndConnect(tarn::socket::Protocol::Pull, endpoint, /*timeoutMs=*/0);
    } catch (const std::runtime_error& reason) {
        throw CommandError(ExitStatus::Failed, reason.what());
    }
}

Received BatchSubscription::next(proto::service_event::ServiceEventBatch& batch,
                                 std::chrono::milliseconds bound, int interruption) {
    return receiveNext(socket, batch, bound, interruption);
}

Received receiveNext(tarn::socket::Socket& socket, google::protobuf::Message& message,
                     std::chrono::milliseconds bound, int interruption) {
    std::string error;
    const int result =
        socket.pollWith(interruption, static_cast<std::uint32_t>(bound.count()), error);
    if (!error.empty()) {
        throw CommandError(ExitStatus::Failed, "cannot wait for events: " + error);
    }
    if (result != 0) {
        return Received::Nothing;
    }
    try {
        socket.receiveProtoBuf(&message, largestBatch);
        return Received::Batch;
    } catch (const std::exception&) {
        return Received::Garbage;
    }
}

}  // namespace tarn::cli
