#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/socket/CatchUpPublisher.h"
#include "platform/utils/Synchronised.h"
#include "proto/service_event.pb.h"
#include "tests/support/peers/Responder.h"

namespace tarn::test {

/// The gateway as tarnctl sees it: whoever comes for updates is sent a catch-up, and then what is
/// to follow. Each that has a tree has all of it. Batches have the heads that they are given here.
/// Thread-safe.
class FakeGateway {
  public:
    using Batch = proto::service_event::ServiceEventBatch;

    explicit FakeGateway(const std::string& endpoint = newEndpoint());
    ~FakeGateway();
    FakeGateway(const FakeGateway&) = delete;
    FakeGateway& operator=(const FakeGateway&) = delete;

    const std::string& endpoint() const { return address; }

    /// Sent to all who are there, and again to each who comes later: after its catch-up, which has
    /// the tree that is given here, and the number before the first batch.
    void publishes(const Batch& batch);
    void catchesUpWith(const proto::monitoring::DeviceNode& tree);

    /// The difference that a device below the root has gone.
    void publishesRemoval(std::uint64_t sequence, const std::string& id);

    /// Something that is no batch.
    void publishesGarbage();

    /// As if it had been started again.
    void changesInstance();

    /// How many have come.
    std::uint64_t newcomers();

  private:
    struct State {
        Batch catchUp;
        std::vector<std::string> script;
        std::size_t sent = 0;
        std::uint64_t newcomers = 0;
        std::string instance = "first instance";
    };

    void run(const std::stop_token& stop);
    void serve(State& current);

    const std::string address;
    utils::Synchronised<State> state;
    socket::CatchUpPublisher publisher;
    std::jthread thread;
};

/// Batches as the gateway sends them, without its instance.
FakeGateway::Batch numbered(std::uint64_t sequence);
FakeGateway::Batch withTree(FakeGateway::Batch batch, const proto::monitoring::DeviceNode& tree);
FakeGateway::Batch withAdded(FakeGateway::Batch batch, const std::string& id);
FakeGateway::Batch withRemoved(FakeGateway::Batch batch, const std::string& id);
FakeGateway::Batch withChanged(FakeGateway::Batch batch, const std::string& id);

/// A root, a host of this status text below it, and a processor below that.
proto::monitoring::DeviceNode treeOf(const std::string& hostId, const std::string& description);

}  // namespace tarn::test
