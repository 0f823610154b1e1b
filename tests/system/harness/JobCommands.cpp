#include "tests/system/harness/JobCommands.h"

#include <stdexcept>

#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::test {

namespace job = proto::api_job;

namespace {

constexpr std::uint32_t connectMs = 2000;
constexpr std::uint32_t largestJobReply = 16u << 20;

}  // namespace

std::optional<job::JobToApiReply> JobCommands::ask(const job::ApiToJobRequest& request) const {
    try {
        socket::Socket commands("Test commands", socket::ClosePolicy::Discard);
        commands.createAndConnect(socket::Protocol::Request,
                                  socket::SocketEndpoint::FromString(endpoint).asPeer(), connectMs);
        commands.sendProtoBuf(&request);
        job::JobToApiReply reply;
        commands.receiveProtoBuf(&reply, largestJobReply);
        return reply;
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

std::optional<JobCommands::Status> JobCommands::status() const {
    job::ApiToJobRequest request;
    request.set_type(job::ApiToJobRequest::STATUS);
    const auto reply = ask(request);
    if (!reply || reply->type() != job::JobToApiReply::STATUS || !reply->success()) {
        return std::nullopt;
    }
    return reply->GetExtension(job::JobToApiReplyStatus::base);
}

bool JobCommands::destroy(End end) const {
    job::ApiToJobRequest request;
    request.set_type(job::ApiToJobRequest::DESTROY);
    request.MutableExtension(job::ApiToJobRequestDestroy::base)
        ->set_destroy_option(end == End::ForGood);
    const auto reply = ask(request);
    return reply && reply->type() == job::JobToApiReply::DESTROY && reply->success();
}

}  // namespace tarn::test
