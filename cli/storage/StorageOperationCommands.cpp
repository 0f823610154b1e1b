#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/Output.h"
#include "cli/storage/StorageOptions.h"
#include "cli/storage/StorageTicket.h"
#include "proto/loop_storage.pb.h"

namespace tarn::cli {

using nlohmann::ordered_json;
using namespace proto::loop_storage;

namespace {

struct OperationOptions {
    std::int64_t id = 0;
    std::uint64_t size = 0;
    bool wait = false;
};

Request createRequest(const OperationOptions& options) {
    Request request;
    request.set_type(Request::CREATE_TRACK);
    request.MutableExtension(CreateTrackRequest::base)->set_size(options.size);
    return request;
}

Request resizeRequest(const OperationOptions& options) {
    Request request;
    request.set_type(Request::RESIZE_TRACK);
    auto& content = *request.MutableExtension(ResizeTrackRequest::base);
    content.set_track_id(options.id);
    content.set_size(options.size);
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
    return show(
        session,
        [&] {
            return ordered_json{{"ticket", std::to_string(ticket)}};
        },
        [&](Output& output) { output.line("ticket " + std::to_string(ticket)); });
}

ExitStatus createTrack(const OperationOptions& options, const Session& session) {
    return begin<CreateTrackReply>(createRequest(options), options.wait, session);
}

ExitStatus resizeTrack(const OperationOptions& options, const Session& session) {
    return begin<ResizeTrackReply>(resizeRequest(options), options.wait, session);
}

ExitStatus destroyTrack(const OperationOptions& options, const Session& session) {
    return begin<DestroyTrackReply>(destroyRequest(options), options.wait, session);
}

ExitStatus clearTrack(const OperationOptions& options, const Session& session) {
    Request request;
    request.set_type(Request::CLEAR_TRACK);
    request.MutableExtension(ClearTrackRequest::base)->set_track_id(options.id);
    session.service.operateStorage(request);
    const auto id = std::to_string(options.id);
    return show(
        session,
        [&] {
            return ordered_json{{"track_id", id}, {"state", "cleared"}};
        },
        [&](Output& output) { output.line("track " + id + " cleared"); });
}

void addCreateOptions(CLI::App& line, OperationOptions& options) {
    addSizeOption(line, options.size);
    addWaitOption(line, options.wait);
}

void addResizeOptions(CLI::App& line, OperationOptions& options) {
    addTrackOption(line, options.id);
    addCreateOptions(line, options);
}

void addDestroyOptions(CLI::App& line, OperationOptions& options) {
    addTrackOption(line, options.id);
    addWaitOption(line, options.wait);
}

void addClearOptions(CLI::App& line, OperationOptions& options) {
    addTrackOption(line, options.id);
}

}  // namespace

Command storageCreateCommand() {
    return {.name = "create",
            .purpose = "Create a track",
            .footer =
                "Examples:\n"
                "  tarnctl storage create --size 10G --wait\n"
                "  tarnctl storage create --size 1.5TB",
            .prepare = with(addCreateOptions, createTrack)};
}

Command storageResizeCommand() {
    return {.name = "resize",
            .purpose = "Give a track another size",
            .footer =
                "Example:\n"
                "  tarnctl storage resize 3 --size 20G --wait",
            .prepare = with(addResizeOptions, resizeTrack)};
}

Command storageDestroyCommand() {
    return {.name = "destroy",
            .purpose = "Destroy a track, with all that is in it",
            .footer =
                "Example:\n"
                "  tarnctl storage destroy 3 --wait",
            .prepare = with(addDestroyOptions, destroyTrack)};
}

Command storageClearCommand() {
    return {.name = "clear",
            .purpose = "Throw away all that is in a track; its size stays",
            .footer =
                "Example:\n"
                "  tarnctl storage clear 3",
            .prepare = with(addClearOptions, clearTrack)};
}

}  // namespace tarn::cli
