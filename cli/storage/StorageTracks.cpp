#include "cli/storage/StorageTracks.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include "cli/output/ByteSize.h"
#include "cli/output/ClockTime.h"
#include "cli/output/DeviceWords.h"
#include "proto/monitoring.pb.h"

namespace tarn::cli {

using nlohmann::ordered_json;
using proto::monitoring::DeviceNode;
using proto::monitoring::NamedStatus;

namespace {

constexpr auto idProperty = "TrackId";
constexpr auto sizeProperty = "Size";

void take(StorageTrack& track, const proto::monitoring::Property& property) {
    if (property.name() == idProperty) {
        track.id = property.value();
    } else if (property.name() == sizeProperty) {
        track.size = property.value();
    } else {
        track.properties.emplace_back(property.name(), property.value());
    }
}

void take(StorageTrack& track, const NamedStatus& status) {
    if (status.name() == "NumReaders") {
        track.readers = std::to_string(status.unsigned_value());
    } else if (status.name() == "NumWriters") {
        track.writers = std::to_string(status.unsigned_value());
    } else if (status.name() == "ReadersList") {
        track.readerNames = status.text_value();
    } else if (status.name() == "WritersList") {
        track.writerNames = status.text_value();
    } else if (status.name() == "StartTimepoint") {
        track.start = status.signed_value();
    } else if (status.name() == "EndTimepoint") {
        track.end = status.signed_value();
    } else if (status.name() == "DiskErrors") {
        track.diskErrors = status.unsigned_value();
    }
}

StorageTrack trackOf(const DeviceNode& storage, const DeviceNode& node) {
    StorageTrack track;
    track.storage = storage.id();
    track.status = globalStatusText(node.global_status());
    for (const auto& property : node.properties()) {
        take(track, property);
    }
    for (const auto& status : node.statuses()) {
        take(track, status);
    }
    return track;
}

std::string withNames(const std::string& count, const std::string& names) {
    return names.empty() ? count : count + " (" + names + ")";
}

}  // namespace

StorageTree storagesIn(const DeviceNode& tree) {
    StorageTree found;
    for (const auto& device : tree.sub_devices()) {
        if (device.device_class() != DeviceNode::LOOP_STORAGE) {
            continue;
        }
        found.storages.push_back(device.id());
        for (const auto& node : device.sub_devices()) {
            found.tracks.push_back(trackOf(device, node));
        }
    }
    return found;
}

std::string lengthText(const StorageTrack& track) {
    const bool empty = track.start < 0 || track.end < track.start;
    return empty ? "" : clockText(std::chrono::nanoseconds(track.end - track.start));
}

Fields fieldsOf(const StorageTrack& track) {
    Fields fields = {{"Id", track.id},
                     {"Storage", track.storage},
                     {"Size", byteSizeText(track.size)},
                     {"Length", lengthText(track)},
                     {"Start", track.start < 0 ? "" : std::to_string(track.start)},
                     {"End", track.end < 0 ? "" : std::to_string(track.end)},
                     {"Readers", withNames(track.readers, track.readerNames)},
                     {"Writers", withNames(track.writers, track.writerNames)}};
    if (track.diskErrors > 0) {
        fields.emplace_back("Disk errors", std::to_string(track.diskErrors));
    }
    for (const auto& [name, value] : track.properties) {
        fields.emplace_back("Property", name + "=" + value);
    }
    if (!track.status.empty()) {
        fields.emplace_back("Status", track.status);
    }
    return fields;
}

ordered_json toJson(const StorageTrack& track) {
    auto properties = ordered_json::object();
    for (const auto& [name, value] : track.properties) {
        properties[name] = value;
    }
    return {{"storage", track.storage},
            {"track_id", track.id},
            {"size", track.size},
            {"num_readers", track.readers},
            {"num_writers", track.writers},
            {"readers_list", track.readerNames},
            {"writers_list", track.writerNames},
            {"start_timepoint", std::to_string(track.start)},
            {"end_timepoint", std::to_string(track.end)},
            {"status", track.status},
            {"disk_errors", std::to_string(track.diskErrors)},
            {"properties", std::move(properties)}};
}

}  // namespace tarn::cli
