#include "peers/job_runtime/supervision/CommandServer.h"

#include <exception>
#include <string>
#include <utility>

#include "peers/job_runtime/events/JobStatus.h"
#include "peers/job_runtime/persistence/Persistence.h"
#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/utils/Log.h"
#include "proto/api_job.pb.h"

namespace tarn::peers {

using tarn::proto::api_job::ApiToJobRequest;
using tarn::proto::api_job::ApiToJobRequestDestroy;
using tarn::proto::api_job::JobToApiReply;
using tarn::proto::api_job::JobToApiReplyStatus;

namespace {

constexpr std::uint32_t maxRequestBytes = 65536;

JobToApiReply makeReply(JobToApiReply::Type type) {
    JobToApiReply reply;
    reply.set_type(type);
    reply.set_success(type != JobToApiReply::ERROR);
    return reply;
}

JobToApiReply refusal(const std::string& reason) {
    auto reply = makeReply(JobToApiReply::ERROR);
    reply.set_error_message(reason);
    return reply;
}

}  // namespace

CommandServer::CommandServer(const tarn::socket::SocketEndpoint& endpoint, access::Owner owner,
                             JobStatus& status, StopRequest& stop, Persistence& persistence)
    : owner(std::move(owner)),
      status(status),
      stop(stop),
      persistence(persistence),
      thread(tarn::socket::makeAnsweringSocket("Job command endpoint", endpoint,
                                               tarn::socket::Audience::Clients),
             tarn::socket::answering<Request>(
                 maxRequestBytes,
                 [this](const Request& request, const tarn::socket::Peer& sender) {
                     return answerTo(request, sender);
                 }),
             {.notServed = "Command not served: ", .notWaited = "Cannot wait for commands: "}) {}

// Asking for what the job does not know is answered by saying so.
access::Level CommandServer::levelFor(const ApiToJobRequest& request,
                                      const tarn::socket::Peer& sender) const {
    if (request.type() != ApiToJobRequest::DESTROY) {
        return access::Level::Read;
    }
    return owner.is(sender) ? access::Level::Operate : access::Level::Admin;
}

JobToApiReply CommandServer::answerTo(const ApiToJobRequest& request,
                                      const tarn::socket::Peer& sender) {
    if (const auto refused = gatekeeper.refusal(levelFor(request, sender), sender,
                                                ApiToJobRequest::Type_Name(request.type()))) {
        return refusal(*refused);
    }
    switch (request.type()) {
        case ApiToJobRequest::STATUS: {
            auto reply = makeReply(JobToApiReply::STATUS);
            *reply.MutableExtension(JobToApiReplyStatus::base) = status.snapshot();
            return reply;
        }
        case ApiToJobRequest::DESTROY:
            return destroy(request);
        case ApiToJobRequest::UNKNOWN:
            break;
    }
    return refusal("Unknown type of request");
}

JobToApiReply CommandServer::destroy(const ApiToJobRequest& request) {
    const bool forGood = request.GetExtension(ApiToJobRequestDestroy::base).destroy_option();
    utils::logInfo(forGood ? "Asked to end for good" : "Asked to end");
    // Before the answer: who has it may rely on it, even if this process is killed now.
    if (forGood && !forget()) {
        return refusal("The persistent file cannot be removed");
    }
    stop.request(forGood ? StopRequest::Wish::EndForGood : StopRequest::Wish::EndNow);
    return makeReply(JobToApiReply::DESTROY);
}

bool CommandServer::forget() {
    try {
        persistence.forget();
        status.update([](JobStatus::Reply& reply) { reply.set_persistent(false); });
        return true;
    } catch (const std::exception& e) {
        utils::logError(std::string("Cannot remove the persistent file: ") + e.what());
        return false;
    }
}

}  // namespace tarn::peers
