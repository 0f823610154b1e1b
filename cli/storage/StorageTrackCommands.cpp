#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/ByteSize.h"
#include "cli/output/Output.h"
#include "cli/output/Table.h"
#include "cli/storage/StorageOptions.h"
#include "cli/storage/StorageTracks.h"
#include "proto/monitoring.pb.h"

namespace tarn::cli {

using nlohmann::ordered_json;

namespace {

struct TrackFilter {
    std::string storage;  ///< empty: any
    std::int64_t id = 0;
};

StorageTree askStorages(const TrackFilter& filter, ServiceClient& service) {
    auto found = storagesIn(service.deviceTree());
    if (!filter.storage.empty()) {
        std::erase_if(found.storages, [&](const auto& id) { return id != filter.storage; });
        std::erase_if(found.tracks,
                      [&](const auto& track) { return track.storage != filter.storage; });
    }
    return found;
}

std::string propertiesText(const StorageTrack& track) {
    std::string text;
    for (const auto& [name, value] : track.properties) {
        text += (text.empty() ? "" : " ") + name + "=" + value;
    }
    return text;
}

// Which storage a track is on is said only where there are several, how tracks are only where one
// is not well, and how often disks have failed only where one has.
Table tableOf(const StorageTree& tree) {
    const bool several = tree.storages.size() > 1;
    const bool anyStatus = std::any_of(tree.tracks.begin(), tree.tracks.end(),
                                       [](const auto& track) { return !track.status.empty(); });
    std::vector<std::string> header = {"ID", "SIZE", "LENGTH", "WRITERS", "READERS", "PROPERTIES"};
    if (several) {
        header.insert(header.begin(), "STORAGE");
    }
    if (anyStatus) {
        header.emplace_back("STATUS");
    }
    const bool anyErrors = std::any_of(tree.tracks.begin(), tree.tracks.end(),
                                       [](const auto& track) { return track.diskErrors > 0; });
    if (anyErrors) {
        header.emplace_back("DISK ERRORS");
    }
    Table table(std::move(header));
    for (const auto& track : tree.tracks) {
        std::vector<std::string> row = {track.id,          byteSizeText(track.size),
                                        lengthText(track), track.writerNames,
                                        track.readerNames, propertiesText(track)};
        if (several) {
            row.insert(row.begin(), track.storage);
        }
        if (anyStatus) {
            row.push_back(track.status);
        }
        if (anyErrors) {
            row.push_back(track.diskErrors > 0 ? std::to_string(track.diskErrors) : "");
        }
        table.add(row);
    }
    return table;
}

ordered_json documentOfTracks(const std::vector<StorageTrack>& tracks) {
    auto list = ordered_json::array();
    for (const auto& track : tracks) {
        list.push_back(toJson(track));
    }
    return {{"tracks", std::move(list)}};
}

ExitStatus listTracks(const TrackFilter& filter, const Session& session) {
    const auto tree = askStorages(filter, session.service);
    return show(
        session, [&] { return documentOfTracks(tree.tracks); },
        [&](Output& output) {
            output.table(tableOf(tree), tree.storages.empty() ? "no loop storage" : "no tracks");
        });
}

ExitStatus showTrack(const TrackFilter& filter, const Session& session) {
    auto tracks = askStorages(filter, session.service).tracks;
    const auto id = std::to_string(filter.id);
    std::erase_if(tracks, [&](const auto& track) { return track.id != id; });
    if (tracks.empty()) {
        throw CommandError(ExitStatus::Failed, "there is no track " + id);
    }
    if (tracks.size() > 1) {
        throw CommandError(ExitStatus::Failed, "several storages have a track " + id +
                                                   ": name one with --storage, such as " +
                                                   tracks.front().storage);
    }
    return show(
        session, [&] { return toJson(tracks.front()); },
        [&](Output& output) { output.fields(fieldsOf(tracks.front())); });
}

void addStorageOption(CLI::App& command, TrackFilter& filter) {
    command.add_option("--storage", filter.storage,
                       "Only the storage that has this id in the device tree");
}

void addShowOptions(CLI::App& line, TrackFilter& filter) {
    addTrackOption(line, filter.id);
    addStorageOption(line, filter);
}

}  // namespace

Command storageTracksCommand() {
    return {.name = "tracks",
            .purpose = "List the tracks",
            .footer =
                "Examples:\n"
                "  tarnctl storage tracks\n"
                "  tarnctl storage tracks --json | jq -r '.tracks[].track_id'",
            .prepare = with(addStorageOption, listTracks)};
}

Command storageShowCommand() {
    return {.name = "show",
            .purpose = "Show one track",
            .footer =
                "Example:\n"
                "  tarnctl storage show 3",
            .prepare = with(addShowOptions, showTrack)};
}

}  // namespace tarn::cli
