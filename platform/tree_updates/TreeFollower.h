#pragma once

#include <cstdint>
#include <string>

#include "proto/monitoring.pb.h"
#include "proto/service_event.fwd.h"

namespace tarn::tree_updates {

/// Follows the device tree by the updates of a gateway: its tree is what the gateway has.
///
///   Awaiting --all of the tree, or a catch-up--> Following
///   Following --a number left out, another gateway, what does not fit--> Awaiting
///
/// Who has to wait again asks for a new catch-up, which is to subscribe anew, on a new connection.
/// One thread at a time.
class TreeFollower {
  public:
    enum class Finding {
        Nothing,    ///< means nothing, was seen before, or comes before the catch-up
        Unchanged,  ///< the tree is as it was
        Changed,
        Lost,     ///< what came before this one did not come: all of it is needed
        Damaged,  ///< it cannot be applied: likewise
    };

    /// To be called with each update in turn, as it was parsed; takes the tree and the difference
    /// out of it.
    Finding take(proto::service_event::TreeUpdate& update);

    bool isFollowing() const { return state == State::Following; }

    /// The last one that was known; null where none was, or where the gateway has none.
    const proto::monitoring::DeviceNode* tree() const { return knowsTree ? &root : nullptr; }

    /// The number of the batch that led to it.
    std::uint64_t sequence() const { return last; }

  private:
    enum class State { Awaiting, Following };

    Finding adopt(proto::service_event::TreeUpdate& update);
    Finding follow(proto::service_event::TreeUpdate& update);
    Finding await(Finding reason);

    State state = State::Awaiting;
    std::string gateway;
    std::uint64_t last = 0;
    bool knowsTree = false;
    proto::monitoring::DeviceNode root;
};

}  // namespace tarn::tree_updates
