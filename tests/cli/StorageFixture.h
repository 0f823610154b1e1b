#pragma once

#include <functional>
#include <string>
#include <vector>

#include "proto/loop_storage.pb.h"
#include "proto/monitoring.pb.h"
#include "tests/cli/TarnctlFixture.h"

namespace tarn::cli {

/// Command lines for a service that has a loop storage.
class StorageFixture : public TarnctlFixture {
  protected:
    using Request = proto::loop_storage::Request;
    using Reply = proto::loop_storage::Reply;

    /// Every request to the storage is answered so; the reply is a success of the right type, which
    /// `fill` may change.
    void storageAnswers(std::function<void(const Request& request, Reply& reply)> fill);

    /// The service's device tree.
    void treeIs(const proto::monitoring::DeviceNode& tree);

    /// What the storage was asked last.
    Request lastOperation() const;
};

/// A storage of that id in a device tree, and a track on it.
proto::monitoring::DeviceNode& addStorage(proto::monitoring::DeviceNode& tree,
                                          const std::string& id);
proto::monitoring::DeviceNode& addTrack(proto::monitoring::DeviceNode& storage,
                                        const std::string& id, const std::string& size);
void addProperty(proto::monitoring::DeviceNode& node, const std::string& name,
                 const std::string& value);

/// Two readers and a writer, and a minute of frames.
void putToUse(proto::monitoring::DeviceNode& track);

}  // namespace tarn::cli
