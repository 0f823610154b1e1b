#pragma once

#include <functional>
#include <set>
#include <string>

#include "platform/utils/Synchronised.h"
#include "proto/monitoring.fwd.h"

namespace tarn::service::devices {

/// Which devices are connected, by id, for the controllers that share this object; so that they can
/// tell a ghost: a node of the tree that nobody answers for. A device can become one when it tells
/// of a change after its controller has given it up, and is gone for good before it is connected
/// again. Any thread.
class DevicePresence {
  public:
    using IsInTree = std::function<bool(const std::string& id)>;
    using Notify = std::function<bool(const tarn::proto::monitoring::DeviceToTarnServiceEvent*)>;

    explicit DevicePresence(IsInTree isInTree) : isInTree(std::move(isInTree)) {}

    /// To be said before the tree is told of the device.
    void connected(const std::string& id);
    void lost(const std::string& id);

    /// Removes the node of that id from the tree, through `notify`, if it is a ghost. True when it
    /// did.
    bool removeGhost(const std::string& id, const Notify& notify);

  private:
    const IsInTree isInTree;
    // Held while a ghost is removed: a device that comes meanwhile is told of afterwards.
    utils::Synchronised<std::multiset<std::string>> ids;
};

}  // namespace tarn::service::devices
