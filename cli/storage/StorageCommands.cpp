#include <CLI/CLI.hpp>
#include <memory>
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
    if (session.format == Format::Json) {
        session.output.document(toJson(answer));
    } else {
        session.output.line(byteSizeText(std::to_string(answer.remaining_space())) + " left");
    }
    return ExitStatus::Done;
}

void addSpaceCommand(CLI::App& storage, Action& chosen) {
    CLI::App* command = storage.add_subcommand("space", "Show how much room new tracks have");
    command->footer(
        "Example:\n"
        "  tarnctl storage space");
    command->callback([&chosen] { chosen = showSpace; });
}

struct TicketOptions {
    std::int64_t ticket = 0;
    bool wait = false;
};

void addTicketCommand(CLI::App& storage, Action& chosen) {
    const auto options = std::make_shared<TicketOptions>();
    CLI::App* command = storage.add_subcommand("ticket", "Show what has become of an operation");
    addTicketOption(*command, options->ticket);
    addWaitOption(*command, options->wait);
    command->footer(
        "Example:\n"
        "  tarnctl storage ticket 10000001 --wait");
    command->callback([options, &chosen] {
        chosen = [options](const Session& session) {
            const auto wait = options->wait ? TicketWait::UntilTheEnd : TicketWait::No;
            return reportTicket(options->ticket, wait, session);
        };
    });
}

}  // namespace

void addStorageCommands(CLI::App& app, Action& chosen) {
    CLI::App* storage = app.add_subcommand("storage", "Loop storage: its tracks and its space");
    storage->require_subcommand(1);
    storage->footer(
        "Slow operations give a ticket at once; --wait waits for their end.\n"
        "Examples:\n"
        "  tarnctl storage tracks\n"
        "  tarnctl storage create --size 10G --wait");
    addStorageTracksCommand(*storage, chosen);
    addStorageShowCommand(*storage, chosen);
    addStorageCreateCommand(*storage, chosen);
    addStorageResizeCommand(*storage, chosen);
    addStorageClearCommand(*storage, chosen);
    addStorageDestroyCommand(*storage, chosen);
    addStoragePropertiesCommand(*storage, chosen);
    addStorageWorkersCommand(*storage, chosen);
    addSpaceCommand(*storage, chosen);
    addTicketCommand(*storage, chosen);
}

}  // namespace tarn::cli
