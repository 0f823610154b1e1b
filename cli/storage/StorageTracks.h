#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "cli/output/Output.h"
#include "proto/monitoring.fwd.h"

namespace tarn::cli {

/// A track as the device tree shows it. Texts are as they came; numbers too, since nothing is
/// computed with them.
struct StorageTrack {
    std::string storage;  ///< the id of the storage in the tree
    std::string id;
    std::string size;  ///< bytes
    std::string readers;
    std::string writers;
    std::string readerNames;  ///< with commas between them
    std::string writerNames;
    std::int64_t start = -1;  ///< -1 in a track that is empty
    std::int64_t end = -1;
    std::uint64_t diskErrors = 0;  ///< since the storage server started
    std::vector<std::pair<std::string, std::string>> properties;  ///< those of clients
    std::string status;  ///< "error: ..." for one that cannot be used; else empty
};

/// What the device tree says of loop storages.
struct StorageTree {
    std::vector<std::string> storages;
    std::vector<StorageTrack> tracks;
};

StorageTree storagesIn(const proto::monitoring::DeviceNode& tree);

/// "1:02:03" between the oldest and the newest frame; empty for an empty track.
std::string lengthText(const StorageTrack& track);

Fields fieldsOf(const StorageTrack& track);
nlohmann::ordered_json toJson(const StorageTrack& track);

}  // namespace tarn::cli
