#pragma once

#include <functional>
#include <set>
#include <string>

#include "platform/utils/Synchronised.h"
#include "proto/monitoring.fwd.h"

namespace tarn::service::devices {

/// Which devices are connected, by id, for the controllers that share this object; so that they can
/// tell a ghost: a node of the tree that nobody answers for.
///
///     Away --connected by the first controller--> Connected --lost by the last--> Away
///     Away, and in the tree: a ghost --removed--> Away
///
/// A device becomes a ghost when it tells of a change after its controller has given it up, and is
/// gone for good before it is connected again. What always holds:
///
/// - A controller says `connected` before it tells the tree of the device, and `lost` before it
///   tells the tree that the device is gone. So a node that a controller has put there, and still
///   answers for, is no ghost.
/// - Nobody becomes Connected between the look at the tree and the sending of the removal: what a
///   device that comes meanwhile is told by reaches the tree after the removal, not before it.
///
/// Any thread.
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
    // Held while a ghost is removed, over the mutex of the tree and that of the controllers'
    // socket: nobody may call this with one of them.
    utils::Synchronised<std::multiset<std::string>> ids;
};

}  // namespace tarn::service::devices
