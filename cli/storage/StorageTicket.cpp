#include "cli/storage/StorageTicket.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cli/CommandError.h"
#include "cli/Interrupt.h"
#include "cli/client/ServiceClient.h"
#include "cli/output/Output.h"
#include "proto/loop_storage.pb.h"

namespace tarn::cli {

using namespace proto::loop_storage;

namespace {

constexpr std::chrono::milliseconds betweenTicketLooks{50};

GetTicketStatusReply askTicket(std::int64_t ticket, ServiceClient& service) {
    Request request;
    request.set_type(Request::GET_TICKET_STATUS);
    request.MutableExtension(GetTicketStatusRequest::base)->set_ticket(ticket);
    return service.operateStorage(request).GetExtension(GetTicketStatusReply::base);
}

bool goesOn(const GetTicketStatusReply& answer) {
    return answer.status() == TICKET_QUEUED || answer.status() == TICKET_RUNNING;
}

/// The last answer; nothing when the waiting was interrupted.
std::optional<GetTicketStatusReply> follow(std::int64_t ticket, ServiceClient& service) {
    const Interrupt interrupt;
    do {
        auto answer = askTicket(ticket, service);
        if (!goesOn(answer)) {
            return answer;
        }
    } while (!interrupt.requestedWithin(betweenTicketLooks));
    return std::nullopt;
}

std::string wordOf(TicketStatus status) {
    switch (status) {
        case TICKET_QUEUED:
            return "queued";
        case TICKET_FINISHED:
            return "finished";
        case TICKET_FAILED:
            return "failed";
        case TICKET_CANCELLED:
            return "cancelled";
        case TICKET_RUNNING:
            return "running";
        default:
            return "unknown";
    }
}

void print(std::int64_t ticket, const GetTicketStatusReply& answer, const Session& session) {
    const auto number = std::to_string(ticket);
    const auto track = answer.has_track_id() ? std::to_string(answer.track_id()) : "";
    show(
        session,
        [&] {
            nlohmann::ordered_json document = {{"ticket", number},
                                               {"status", TicketStatus_Name(answer.status())}};
            if (!track.empty()) {
                document["track_id"] = track;
            }
            return document;
        },
        [&](Output& output) {
            output.line("ticket " + number + " " + wordOf(answer.status()) +
                        (track.empty() ? "" : ": track " + track));
        });
}

}  // namespace

ExitStatus reportTicket(std::int64_t ticket, TicketWait wait, const Session& session) {
    const auto answer = wait == TicketWait::No ? askTicket(ticket, session.service)
                                               : follow(ticket, session.service);
    if (!answer) {
        throw CommandError(ExitStatus::Interrupted,
                           "ticket " + std::to_string(ticket) + ": the operation goes on");
    }
    print(ticket, *answer, session);
    return goesOn(*answer) || answer->status() == TICKET_FINISHED ? ExitStatus::Done
                                                                  : ExitStatus::Failed;
}

}  // namespace tarn::cli
