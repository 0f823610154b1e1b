#include "peers/job_runtime/supervision/ReservedEndpoints.h"

#include <chrono>
#include <exception>

#include "platform/socket/SocketEndpoint.h"
#include "platform/utils/Log.h"
#include "proto/api_job.pb.h"

namespace tarn::peers {

using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::SocketEndpoint;

namespace {

constexpr std::uint32_t pollMs = 100;

void bindAll(tarn::socket::Socket& socket, Protocol protocol,
             const std::vector<std::string>& endpoints) {
    socket.create(protocol);
    for (const auto& endpoint : endpoints) {
        socket.connect(SocketEndpoint::FromString(endpoint), 0);
    }
}

// Throws for anything larger than nothing, and has dropped it then.
void dropOne(tarn::socket::Socket& socket) {
    try {
        tarn::proto::api_job::ApiToJobRequest any;
        socket.receiveProtoBuf(&any, 0);
    } catch (const std::exception&) {
        utils::logDebug("Dropped a message on a reserved endpoint");
    }
}

}  // namespace

ReservedEndpoints::ReservedEndpoints(const std::vector<std::string>& pullEndpoints,
                                     const std::vector<std::string>& publishEndpoints)
    : pull("Reserved receiving endpoint", ClosePolicy::Discard),
      publish("Reserved publishing endpoint", ClosePolicy::Discard) {
    bindAll(pull, Protocol::Pull, pullEndpoints);
    bindAll(publish, Protocol::Publish, publishEndpoints);
    if (!pullEndpoints.empty()) {
        thread = std::jthread([this](const std::stop_token& token) { drop(token); });
    }
}

void ReservedEndpoints::drop(const std::stop_token& token) {
    std::string error;
    while (!token.stop_requested()) {
        const int polled = pull.poll(pollMs, error);
        if (polled == 0) {
            dropOne(pull);
        } else if (polled == 2) {  // an error that stays must not take a processor
            std::this_thread::sleep_for(std::chrono::milliseconds(pollMs));
        }
    }
}

}  // namespace tarn::peers
