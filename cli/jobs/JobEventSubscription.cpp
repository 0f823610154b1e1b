#include "cli/jobs/JobEventSubscription.h"

#include <exception>
#include <string>

#include "cli/CommandError.h"
#include "platform/socket/Socket.h"
#include "platform/socket/TrustedEndpoint.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::cli {

using proto::job_monitoring::JobEvent;

namespace {

constexpr std::uint32_t largestEvent = 1024 * 1024;

}  // namespace

JobEventSubscription::JobEventSubscription(const socket::SocketEndpoint& eventEndpoint)
    : socket(std::make_unique<tarn::socket::Socket>("job events",
                                                    tarn::socket::ClosePolicy::Discard)) {
    if (const auto why = tarn::socket::whyNotTrusted(eventEndpoint)) {
        throw CommandError(ExitStatus::Failed, *why);
    }
    socket->createAndConnect(tarn::socket::Protocol::Subscribe, eventEndpoint, /*timeoutMs=*/0);
}

JobEventSubscription::~JobEventSubscription() = default;

std::optional<JobEvent> JobEventSubscription::next(std::chrono::milliseconds bound,
                                                   int interruption) {
    std::string error;
    if (socket->pollWith(interruption, static_cast<std::uint32_t>(bound.count()), error) != 0) {
        return std::nullopt;
    }
    try {
        JobEvent event;
        socket->receiveProtoBuf(&event, largestEvent);
        return event;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

}  // namespace tarn::cli
