#include "service/devices/storage/StorageDescription.h"

#include <array>
#include <cstring>
#include <map>
#include <set>

#include "platform/device_tree/DeviceNode.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/Printable.h"

namespace tarn::service::devices {

using device_tree::DeviceClass;
using device_tree::DeviceNode;
using device_tree::GlobalStatus;
using device_tree::NamedStatus;
using device_tree::Property;

// The workers of one kind that are attached to one track.
struct WorkerGroup {
    std::uint64_t count = 0;
    std::set<std::string> names;  // a name that several workers have is here once

    void add(const tarn_storage_worker_info& worker);

    // The names in ascending byte order, with commas between them.
    std::string joinedNames() const;
};

struct TrackWorkers {
    WorkerGroup readers;
    WorkerGroup writers;
};

void WorkerGroup::add(const tarn_storage_worker_info& worker) {
    ++count;
    names.emplace(worker.name, ::strnlen(worker.name, sizeof worker.name));
}

std::string WorkerGroup::joinedNames() const {
    std::string text;
    for (const auto& name : names) {
        text += (&name == &*names.begin() ? "" : ",") + name;
    }
    return text;
}

namespace {

constexpr auto sizeProperty = "Size";
constexpr std::size_t longestFailure = 1024;

std::string storageId(const StorageAddress& address) {
    return address.port == 0
               ? "Storage-unix-" + address.address
               : "Storage-tcp-" + address.address + ":" + std::to_string(address.port);
}

void addIfAbsent(DeviceNode& node, const std::string& name, const std::string& value) {
    if (!node.getProperty(name)) {
        node.addProperty(Property(name, Property::Type::Text, value));
    }
}

/// The result of a call of the library; throws when the call failed.
template <typename Call, typename... Arguments>
auto read(Call call, Arguments... arguments) {
    StorageError error;
    const auto result = call(arguments..., error.get());
    if (error.isSet()) {
        throw StorageFailure(error.message());
    }
    return result;
}

/// The same for what is to be destroyed.
template <typename T, typename... Parameters, typename... Arguments>
StoragePointer<T> readList(T* (*call)(Parameters...), Arguments... arguments) {
    StorageError error;
    StoragePointer<T> list(call(arguments..., error.get()));
    if (error.isSet()) {
        throw StorageFailure(error.message());
    }
    return list;
}

// Of every track that has some, by its id. Workers that neither read nor write are left out.
std::map<std::int64_t, TrackWorkers> workersByTrack(const tarn_storage_worker_info_list& workers) {
    std::map<std::int64_t, TrackWorkers> result;
    const auto count = tarn_storage_worker_info_list_get_count(&workers);
    for (std::size_t i = 0; i < count; ++i) {
        const auto& worker = *tarn_storage_worker_info_list_get(&workers, i);
        if (worker.kind == TARN_STORAGE_WORKER_READER) {
            result[worker.track_id].readers.add(worker);
        } else if (worker.kind == TARN_STORAGE_WORKER_WRITER) {
            result[worker.track_id].writers.add(worker);
        }
    }
    return result;
}

std::map<std::int64_t, TrackWorkers> askWorkers(tarn_storage_connection& storage) {
    const auto workers = readList(tarn_storage_worker_list_create, &storage);
    const auto records = readList(tarn_storage_worker_info_list_create, &storage, workers.get());
    return workersByTrack(*records);
}

}  // namespace

std::shared_ptr<DeviceNode> StorageDescription::ask(tarn_storage_connection& connection) const {
    auto node = makeStorageNode();
    addRemainingSpace(*node, connection);
    addTracks(*node, connection);
    return node;
}

std::shared_ptr<DeviceNode> StorageDescription::makeStorageNode() const {
    auto node =
        std::make_shared<DeviceNode>(storageId(address), "LoopStorage", DeviceClass::LoopStorage);
    addIfAbsent(*node, "ConnectionType", address.port == 0 ? "unix" : "tcp");
    addIfAbsent(*node, "Interface", address.address);
    if (address.port != 0) {
        addIfAbsent(*node, "Port", std::to_string(address.port));
    }
    return node;
}

void StorageDescription::addRemainingSpace(DeviceNode& node,
                                           tarn_storage_connection& storage) const {
    std::int64_t space = -1;
    try {
        StorageError error;
        const auto told = tarn_storage_get_remaining_space(&storage, error.get());
        space = error.isSet() ? -1 : told;
    } catch (const std::exception& e) {
        logProblem("Failed getting remaining space: ", e.what());
    }
    addStatus(node, {"RemainingSpace", space},
              "Failed setting RemainingSpace status description: ");
}

void StorageDescription::addTracks(DeviceNode& node, tarn_storage_connection& storage) const {
    const auto workers = askWorkers(storage);
    const auto tracks = readList(tarn_storage_track_list_create, &storage);
    const auto count = tarn_storage_track_list_get_count(tracks.get());
    for (std::size_t i = 0; i < count; ++i) {
        const auto id = tarn_storage_track_list_get_id(tracks.get(), i);
        const auto found = workers.find(id);
        const auto track = askTrack(
            node.getId(), id, found == workers.end() ? TrackWorkers() : found->second, storage);
        std::string error;
        if (!node.addSubDevice(track, /*replace=*/true, error)) {
            logProblem("Failed adding sub device: ", error);
        }
    }
}

std::shared_ptr<DeviceNode> StorageDescription::askTrack(const std::string& storageId,
                                                         std::int64_t id,
                                                         const TrackWorkers& workers,
                                                         tarn_storage_connection& storage) const {
    const auto idText = std::to_string(id);
    auto node = std::make_shared<DeviceNode>(storageId + "_track_" + idText, "LoopStorageTrack",
                                             DeviceClass::Generic);
    addProperty(*node, "TrackId", idText, "Failed setting track ID: ");
    addTrackProperties(*node, id, storage);
    const auto size = read(tarn_storage_track_get_size, &storage, id);
    addProperty(*node, sizeProperty, std::to_string(size), "Failed setting track size: ");
    addFailure(*node, id, storage);
    addWorkers(*node, workers);
    addStatus(*node, {"StartTimepoint", read(tarn_storage_track_get_beginning, &storage, id)},
              "Failed setting StartTimepoint status description: ");
    addStatus(*node, {"EndTimepoint", read(tarn_storage_track_get_end, &storage, id)},
              "Failed setting EndTimepoint status description: ");
    addDiskErrors(*node, id, storage);
    return node;
}

// A track whose disk is well says nothing of it.
void StorageDescription::addDiskErrors(DeviceNode& node, std::int64_t id,
                                       tarn_storage_connection& storage) const {
    const auto errors = read(tarn_storage_track_get_errors, &storage, id);
    if (errors > 0) {
        addStatus(node, {"DiskErrors", static_cast<std::uint64_t>(errors)},
                  "Failed setting DiskErrors status description: ");
    }
}

// What a client has stored under a name of ours must not hide the truth.
void StorageDescription::addTrackProperties(DeviceNode& node, std::int64_t id,
                                            tarn_storage_connection& storage) const {
    constexpr auto problem = "Failed setting property: ";
    const auto properties = readList(tarn_storage_track_get_properties, &storage, id);
    const auto count = tarn_storage_property_list_get_count(properties.get());
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = tarn_storage_property_list_get_name(properties.get(), i);
        if (name == sizeProperty) {
            logProblem(problem, "Size is said of every track by the server");
            continue;
        }
        addProperty(node, name, tarn_storage_property_list_get_value(properties.get(), i), problem);
    }
}

// A track that is sound says nothing of how it is.
void StorageDescription::addFailure(DeviceNode& node, std::int64_t id,
                                    tarn_storage_connection& storage) {
    std::array<char, longestFailure> text{};
    if (read(tarn_storage_track_get_failure, &storage, id, text.data(), text.size()) > 0) {
        node.setGlobalStatus(GlobalStatus(GlobalStatus::Level::Error, text.data()));
    }
}

void StorageDescription::addWorkers(DeviceNode& node, const TrackWorkers& workers) const {
    addStatus(node, {"NumReaders", workers.readers.count},
              "Failed setting NumReaders status description: ");
    addStatus(node, {"NumWriters", workers.writers.count},
              "Failed setting NumWriters status description: ");
    addStatus(node, {"ReadersList", workers.readers.joinedNames()},
              "Failed setting ReadersList status description: ");
    addStatus(node, {"WritersList", workers.writers.joinedNames()},
              "Failed setting WritersList status description: ");
}

void StorageDescription::addProperty(DeviceNode& node, const std::string& name,
                                     const std::string& value, const std::string& problem) const {
    try {
        if (node.getProperty(name)) {
            logProblem(problem, "there is already a property " + utils::printable(name));
            return;
        }
        node.addProperty(Property(name, Property::Type::Text, value));
    } catch (const std::exception& e) {
        logProblem(problem, e.what());
    }
}

void StorageDescription::addStatus(DeviceNode& node, const NamedStatus& status,
                                   const std::string& problem) const {
    try {
        node.addStatus(status);
    } catch (const std::exception& e) {
        logProblem(problem, e.what());
    }
}

void StorageDescription::logProblem(const std::string& problem, const std::string& reason) const {
    utils::logError(formatter.formatMessage(problem + reason));
}

}  // namespace tarn::service::devices
