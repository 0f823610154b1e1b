#pragma once

#include <chrono>
#include <deque>
#include <memory>

#include "cli/events/BatchSource.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/tree_updates/TreeFollower.h"
#include "proto/service_event.pb.h"

namespace tarn::socket {
class Socket;
}

namespace tarn::cli {

/// The service's batches as a gateway tells them on the topic of differences: a batch has a tree,
/// all of it, where the tree has changed; of those that came together the last one. Subscribes
/// again and again until somebody is there, and anew where updates are lost, or where it was not
/// let in: then a catch-up comes. Used by one thread.
class UpdateSubscription : public BatchSource {
  public:
    using Clock = std::chrono::steady_clock;
    enum class Trees {
        Wanted,
        Unwanted,  ///< batches never have one, and nothing is done for it
    };

    /// Subscribes anew when no catch-up has come within `patience`: a gateway sends it at once, but
    /// may have taken this one for another. CommandError when the endpoint belongs to somebody who
    /// is not trusted.
    UpdateSubscription(const socket::SocketEndpoint& endpoint, Trees trees,
                       std::chrono::milliseconds patience = std::chrono::seconds(3));
    ~UpdateSubscription() override;

    Received next(proto::service_event::ServiceEventBatch& batch, std::chrono::milliseconds bound,
                  int interruption) override;

  private:
    enum class Standing { Awaiting, LetIn };

    void subscribe();
    std::chrono::milliseconds untilTriedAgain() const;
    Received receive(std::chrono::milliseconds bound, int interruption);
    Received take(proto::service_event::TreeUpdate& update);

    const socket::SocketEndpoint endpoint;
    const Trees trees;
    const std::chrono::milliseconds patience;
    tree_updates::TreeFollower follower;
    std::unique_ptr<socket::Socket> socket;
    Standing standing = Standing::Awaiting;
    std::deque<proto::service_event::ServiceEventBatch> kept;  // came, and were not asked for yet
    Clock::time_point triedAgain;
};

}  // namespace tarn::cli
