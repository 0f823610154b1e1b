#include "tests/chaos/machine/TrackRequests.h"

#include <chrono>

#include "tests/service/devices/support/StorageRequests.h"
#include "tests/support/Eventually.h"

namespace tarn::chaos {

using namespace proto::loop_storage;
using proto::api_service::ApiToServiceRequest;
using proto::api_service::ApiToServiceRequestLoopStorage;
using proto::api_service::ServiceToApiReplyLoopStorage;
using test::storage_requests::ticketIn;

namespace {

constexpr std::chrono::seconds longestAnswer{20};
constexpr std::chrono::seconds longestChange{20};

Request requestOf(const TrackChange& change) {
    switch (change.kind) {
        case TrackChange::Kind::Resize:
            return test::storage_requests::resizeTrack(change.track, change.size);
        case TrackChange::Kind::Destroy:
            return test::storage_requests::destroyTrack(change.track);
        case TrackChange::Kind::Create:
            break;
    }
    return test::storage_requests::createTrack(change.size);
}

std::string reasonIn(const Reply& reply) {
    return reply.error_message().empty() ? reply.ShortDebugString() : reply.error_message();
}

test::Api::Request envelopeOf(const Request& request) {
    auto envelope = test::requestOfType(ApiToServiceRequest::LOOP_STORAGE);
    *envelope.MutableExtension(ApiToServiceRequestLoopStorage::base)->mutable_request() = request;
    return envelope;
}

}  // namespace

Reply TrackRequests::ask(const Request& request) {
    const auto reply = client.ask(envelopeOf(request), longestAnswer);
    if (!reply) {
        Reply none;
        none.set_error_message("the service does not answer");
        return none;
    }
    return reply->GetExtension(ServiceToApiReplyLoopStorage::base).reply();
}

std::optional<std::string> TrackRequests::carryOut(TrackChange& change) {
    const auto taken = ask(requestOf(change));
    if (ticketIn(taken) == 0) {
        return reasonIn(taken);
    }
    Reply last;
    GetTicketStatusReply ticket;
    test::eventually(
        [&] {
            last = ask(test::storage_requests::ticketStatus(ticketIn(taken)));
            ticket = last.GetExtension(GetTicketStatusReply::base);
            return !last.success() ||
                   (ticket.status() != TICKET_RUNNING && ticket.status() != TICKET_QUEUED);
        },
        longestChange);
    if (!last.success() || ticket.status() != TICKET_FINISHED) {
        return reasonIn(last);
    }
    if (change.kind == TrackChange::Kind::Create) {
        change.track = ticket.track_id();
    }
    return std::nullopt;
}

void TrackRequests::begin(const TrackChange& change) {
    client.send(envelopeOf(requestOf(change)));
}

std::optional<std::string> TrackRequests::clear(std::int64_t track) {
    const auto reply = ask(test::storage_requests::clearTrack(track));
    return reply.success() ? std::nullopt : std::optional(reasonIn(reply));
}

}  // namespace tarn::chaos
