#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/ByteSize.h"
#include "cli/output/Json.h"
#include "cli/output/Output.h"
#include "cli/storage/StorageOptions.h"
#include "cli/storage/StorageTicket.h"
#include "proto/loop_storage.pb.h"

namespace tarn::cli {

using namespace proto::loop_storage;

namespace {

ExitStatus showSpace(const Session& session) {
    Request request;
    request.set_type(Request::GET_REMAINING_SPACE);
    const auto answer =
        session.service.operateStorage(request).GetExtension(GetRemainingSpaceReply::base);
    return show(
        session, [&] { return toJson(answer); },
        [&](Output& output) {
            output.line(byteSizeText(std::to_string(answer.remaining_space())) + " left");
        });
}

struct TicketOptions {
    std::int64_t ticket = 0;
    bool wait = false;
};

void addOptions(CLI::App& line, TicketOptions& options) {
    addTicketOption(line, options.ticket);
    addWaitOption(line, options.wait);
}

ExitStatus showTicket(const TicketOptions& options, const Session& session) {
    return reportTicket(options.ticket, options.wait ? TicketWait::UntilTheEnd : TicketWait::No,
                        session);
}

}  // namespace

Command storageFamily() {
    return {.name = "storage",
            .purpose = "Loop storage: its tracks and its space",
            .footer =
                "Slow operations give a ticket at once; --wait waits for their end.\n"
                "Examples:\n"
                "  tarnctl storage tracks\n"
                "  tarnctl storage create --size 10G --wait"};
}

Command storageSpaceCommand() {
    return {.name = "space",
            .purpose = "Show how much room new tracks have",
            .footer =
                "Example:\n"
                "  tarnctl storage space",
            .prepare = with(showSpace)};
}

Command storageTicketCommand() {
    return {.name = "ticket",
            .purpose = "Show what has become of an operation",
            .footer =
                "Example:\n"
                "  tarnctl storage ticket 10000001 --wait",
            .prepare = with(addOptions, showTicket)};
}

}  // namespace tarn::cli
