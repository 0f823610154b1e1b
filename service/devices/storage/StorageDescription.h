#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "service/devices/storage/StorageConnection.h"

namespace tarn::device_tree {
class DeviceNode;
class NamedStatus;
}  // namespace tarn::device_tree
namespace tarn::utils {
class IMessageFormatter;
}

namespace tarn::service::devices {

struct TrackWorkers;

/// The storage did not tell what it was asked for; the text is the library's.
class StorageFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Describes a loop storage server and its tracks as a device, by asking it over one connection.
/// What does not fit into a node is logged and left out. One thread at a time.
class StorageDescription {
  public:
    /// The references must outlive the object.
    StorageDescription(const StorageAddress& address, const utils::IMessageFormatter& formatter)
        : address(address), formatter(formatter) {}

    /// Throws StorageFailure when the workers, the tracks or anything of a track cannot be read.
    std::shared_ptr<device_tree::DeviceNode> ask(tarn_storage_connection& connection) const;

  private:
    std::shared_ptr<device_tree::DeviceNode> makeStorageNode() const;
    void addRemainingSpace(device_tree::DeviceNode& node, tarn_storage_connection& storage) const;
    void addTracks(device_tree::DeviceNode& node, tarn_storage_connection& storage) const;
    std::shared_ptr<device_tree::DeviceNode> askTrack(const std::string& storageId, std::int64_t id,
                                                      const TrackWorkers& workers,
                                                      tarn_storage_connection& storage) const;
    void addTrackProperties(device_tree::DeviceNode& node, std::int64_t id,
                            tarn_storage_connection& storage) const;
    static void addFailure(device_tree::DeviceNode& node, std::int64_t id,
                           tarn_storage_connection& storage);
    void addDiskErrors(device_tree::DeviceNode& node, std::int64_t id,
                       tarn_storage_connection& storage) const;
    void addWorkers(device_tree::DeviceNode& node, const TrackWorkers& workers) const;

    void addProperty(device_tree::DeviceNode& node, const std::string& name,
                     const std::string& value, const std::string& problem) const;
    void addStatus(device_tree::DeviceNode& node, const device_tree::NamedStatus& status,
                   const std::string& problem) const;
    void logProblem(const std::string& problem, const std::string& reason) const;

    const StorageAddress& address;
    const utils::IMessageFormatter& formatter;
};

}  // namespace tarn::service::devices
