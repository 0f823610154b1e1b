#include "cli/events/BatchSubscription.h"

#include <exception>
#include <stdexcept>
#include <string>

#include "cli/CommandError.h"
#include "platform/socket/Socket.h"
#include "platform/socket/TrustedEndpoint.h"
#include "proto/service_event.pb.h"

namespace tarn::cli {

using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::Socket;

namespace {

constexpr std::uint32_t largestBatch = 64U << 20U;
// Each may hold a whole tree, and they pile up while this process is suspended.
constexpr int longestQueue = 64;

}  // namespace

BatchSubscription::BatchSubscription(From from, const tarn::socket::SocketEndpoint& endpoint)
    : socket(std::make_unique<Socket>("events", ClosePolicy::Discard)) {
    if (const auto why = tarn::socket::whyNotTrusted(endpoint); why && from == From::Gateway) {
        throw CommandError(ExitStatus::Failed, *why);
    }
    try {
        socket->setQueueLength(longestQueue);
        socket->createAndConnect(from == From::Gateway ? Protocol::Subscribe : Protocol::Pull,
                                 endpoint, /*timeoutMs=*/0);
    } catch (const std::runtime_error& reason) {
        throw CommandError(ExitStatus::Failed, reason.what());
    }
}

BatchSubscription::~BatchSubscription() = default;

BatchSubscription::Received BatchSubscription::next(proto::service_event::ServiceEventBatch& batch,
                                                    std::chrono::milliseconds bound,
                                                    int interruption) {
    std::string error;
    const int result =
        socket->pollWith(interruption, static_cast<std::uint32_t>(bound.count()), error);
    if (!error.empty()) {
        throw CommandError(ExitStatus::Failed, "cannot wait for events: " + error);
    }
    if (result != 0) {
        return Received::Nothing;
    }
    try {
        socket->receiveProtoBuf(&batch, largestBatch);
        return Received::Batch;
    } catch (const std::exception&) {
        return Received::Garbage;
    }
}

}  // namespace tarn::cli
