#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/ByteSize.h"
#include "cli/output/Output.h"
#include "cli/storage/StorageOptions.h"
#include "cli/storage/StorageTicket.h"
#include "proto/loop_storage.pb.h"

namespace tarn::cli {

using namespace proto::loop_storage;

namespace {

struct OperationOptions {
    std::int64_t id = 0;
    std::string size;
    bool wait = false;
};

Request createRequest(const OperationOptions& options) {
    Request request;
    request.set_type(Request::CREATE_TRACK);
    request.MutableExtension(CreateTrackRequest::base)->set_size(*parseByteSize(options.size));
    return request;
}

Request resizeRequest(const OperationOptions& options) {
    Request request;
    request.set_type(Request::RESIZE_TRACK);
    auto& content = *request.MutableExtension(ResizeTrackRequest::base);
    content.set_track_id(options.id);
    content.set_size(*parseByteSize(options.size));
    return request;
}

Request destroyRequest(const OperationOptions& options) {
    Request request;
    request.set_type(Request::DESTROY_TRACK);
    request.MutableExtension(DestroyTrackRequest::base)->set_track_id(options.id);
    return request;
}

/// `Content` is the reply's, which has a ticket.
template <typename Content>
ExitStatus begin(const Request& request, bool wait, const Session& session) {
    const auto ticket =
        session.service.operateStorage(request).GetExtension(Content::base).ticket();
    if (wait) {
        return reportTicket(ticket, TicketWait::UntilTheEnd, session);
    }
    if (session.format == Format::Json) {
        session.output.document({{"ticket", std::to_string(ticket)}});
    } else {
        session.output.line("ticket " + std::to_string(ticket));
    }
    return ExitStatus::Done;
}

ExitStatus clearTrack(const OperationOptions& options, const Session& session) {
    Request request;
    request.set_type(Request::CLEAR_TRACK);
    request.MutableExtension(ClearTrackRequest::base)->set_track_id(options.id);
    session.service.operateStorage(request);
    if (session.format == Format::Json) {
        session.output.document({{"track_id", std::to_string(options.id)}, {"state", "cleared"}});
    } else {
        session.output.line("track " + std::to_string(options.id) + " cleared");
    }
    return ExitStatus::Done;
}

}  // namespace

void addStorageCreateCommand(CLI::App& storage, Action& chosen) {
    const auto options = std::make_shared<OperationOptions>();
    CLI::App* command = storage.add_subcommand("create", "Create a track");
    addSizeOption(*command, options->size);
    addWaitOption(*command, options->wait);
    command->footer(
        "Examples:\n"
        "  tarnctl storage create --size 10G --wait\n"
        "  tarnctl storage create --size 1.5TB");
    command->callback([options, &chosen] {
        chosen = [options](const Session& session) {
            return begin<CreateTrackReply>(createRequest(*options), options->wait, session);
        };
    });
}

void addStorageResizeCommand(CLI::App& storage, Action& chosen) {
    const auto options = std::make_shared<OperationOptions>();
    CLI::App* command = storage.add_subcommand("resize", "Give a track another size");
    addTrackOption(*command, options->id);
    addSizeOption(*command, options->size);
    addWaitOption(*command, options->wait);
    command->footer(
        "Example:\n"
        "  tarnctl storage resize 3 --size 20G --wait");
    command->callback([options, &chosen] {
        chosen = [options](const Session& session) {
            return begin<ResizeTrackReply>(resizeRequest(*options), options->wait, session);
        };
    });
}

void addStorageDestroyCommand(CLI::App& storage, Action& chosen) {
    const auto options = std::make_shared<OperationOptions>();
    CLI::App* command =
        storage.add_subcommand("destroy", "Destroy a track, with all that is in it");
    addTrackOption(*command, options->id);
    addWaitOption(*command, options->wait);
    command->footer(
        "Example:\n"
        "  tarnctl storage destroy 3 --wait");
    command->callback([options, &chosen] {
        chosen = [options](const Session& session) {
            return begin<DestroyTrackReply>(destroyRequest(*options), options->wait, session);
        };
    });
}

void addStorageClearCommand(CLI::App& storage, Action& chosen) {
    const auto options = std::make_shared<OperationOptions>();
    CLI::App* command =
        storage.add_subcommand("clear", "Throw away all that is in a track; its size stays");
    addTrackOption(*command, options->id);
    command->footer(
        "Example:\n"
        "  tarnctl storage clear 3");
    command->callback([options, &chosen] {
        chosen = [options](const Session& session) { return clearTrack(*options, session); };
    });
}

}  // namespace tarn::cli
