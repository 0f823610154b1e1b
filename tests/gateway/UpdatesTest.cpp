#include <gtest/gtest.h>
#include <signal.h>

#include <memory>
#include <vector>

#include "platform/tree_updates/TreeFollower.h"
#include "platform/tree_updates/UpdateTopic.h"
#include "tests/gateway/GatewayBed.h"
#include "tests/support/peers/SilentSubscriber.h"

// Those who follow differences at the built gateway, beside those who get whole trees.
namespace tarn::gateway {

using proto::service_event::TreeUpdate;
using test::ServiceEventBatch;
using test::SilentSubscriber;
using test::Subscriber;
using tree_updates::TreeFollower;
using tree_updates::updateTopic;

namespace {

constexpr std::uint32_t patienceMs = 10000;
constexpr std::uint32_t largestUpdate = 64U << 20U;

/// Who follows the tree by updates.
class Follower {
  public:
    explicit Follower(const std::string& endpoint, int queueLength = 1000)
        : socket("follower", socket::ClosePolicy::Discard) {
        socket.setQueueLength(queueLength);
        socket.setTopic(updateTopic());
        socket.createAndConnect(socket::Protocol::Subscribe,
                                socket::SocketEndpoint::FromString(endpoint), patienceMs);
    }

    /// The next one that means something.
    TreeUpdate next() {
        TreeUpdate update;
        std::string error;
        do {
            if (socket.poll(patienceMs, error) != 0) {
                ADD_FAILURE() << "no update came";
                break;
            }
            socket.receiveProtoBuf(&update, largestUpdate);
        } while (!update.batch(0).catch_up() && update.batch(0).sequence() == 0);
        return update;
    }

    TreeFollower::Finding take() {
        auto update = next();
        return follower.take(update);
    }

    /// Until it has the batch of this number.
    void catchUpWith(std::uint64_t sequence) {
        while (follower.sequence() < sequence && !testing::Test::HasFailure()) {
            EXPECT_NE(take(), TreeFollower::Finding::Damaged);
        }
    }

    std::string treeBytes() const { return follower.tree()->SerializeAsString(); }

    TreeFollower follower;

  private:
    socket::Socket socket;
};

class UpdatesTest : public test::GatewayBed {
  protected:
    void SetUp() override { startGateway(); }

    /// A tree whose devices are in order, of which one changes with each number.
    static ServiceEventBatch changing(int number) {
        auto batch = test::fullTree(10);
        batch.mutable_device_tree()
            ->mutable_sub_devices(number % 10)
            ->set_name("changed " + std::to_string(number));
        return batch;
    }
};

}  // namespace

TEST_F(UpdatesTest, AreFollowedBesideThoseWhoGetWholeTrees) {
    Follower follower(published);
    Subscriber subscriber(published);
    EXPECT_TRUE(follower.next().batch(0).catch_up());
    EXPECT_TRUE(subscriber.next().catch_up());
    auto batch = changing(0);
    send(batch);
    auto first = follower.next();
    EXPECT_EQ(first.device_tree().SerializeAsString(), batch.device_tree().SerializeAsString());
    EXPECT_EQ(first.batch(0).events_size(), 1);
    send(changing(1));
    EXPECT_EQ(follower.next().difference().changed_size(), 2);
    for (std::uint64_t number = 1; number < 3; ++number) {
        auto whole = subscriber.next();
        EXPECT_EQ(whole.sequence(), number);
        EXPECT_TRUE(whole.has_device_tree());
    }
}

TEST_F(UpdatesTest, WhoSubscribesToEverythingGetsTheBytesOfBatchesAndNothingElse) {
    SilentSubscriber other(published, updateTopic());
    Subscriber subscriber(published);
    EXPECT_TRUE(subscriber.next().catch_up());
    for (int number = 1; number < 50; ++number) {
        auto sent = changing(number);
        send(sent);
        auto received = subscriber.next();
        EXPECT_EQ(received.sequence(), static_cast<std::uint64_t>(number));
        received.clear_sequence();
        received.clear_gateway_instance();
        EXPECT_EQ(received.SerializeAsString(), sent.SerializeAsString());
    }
}

TEST_F(UpdatesTest, ThatFollowEachOtherCloselyAreOne) {
    Follower follower(published);
    follower.take();
    constexpr int count = 200;
    for (int number = 1; number <= count; ++number) {
        send(changing(number));
    }
    int updates = 0;
    while (follower.follower.sequence() < count && !HasFailure()) {
        EXPECT_EQ(follower.take(), TreeFollower::Finding::Changed);
        ++updates;
    }
    EXPECT_LT(updates, count / 2);
    EXPECT_EQ(follower.treeBytes(), changing(count).device_tree().SerializeAsString());
}

TEST_F(UpdatesTest, AreFollowedWithoutALossByWhoComesWhileSomeWait) {
    std::vector<std::unique_ptr<Follower>> followers;
    constexpr int rounds = 30;
    constexpr int batchesOfARound = 5;
    for (int round = 0; round < rounds; ++round) {
        followers.push_back(std::make_unique<Follower>(published));
        for (int number = 1; number <= batchesOfARound; ++number) {
            send(changing(round * batchesOfARound + number));
        }
    }
    for (const auto& follower : followers) {
        while (follower->follower.sequence() < rounds * batchesOfARound && !HasFailure()) {
            EXPECT_EQ(follower->take(), TreeFollower::Finding::Changed);
        }
        EXPECT_EQ(follower->treeBytes(), followers.front()->treeBytes());
    }
}

TEST_F(UpdatesTest, ALongWayLeadsToTheTreeOfALateCatchUp) {
    send(changing(0));
    Follower early(published);
    for (int number = 1; number < 200; ++number) {
        send(changing(number));
    }
    early.catchUpWith(200);
    Follower late(published);
    late.take();
    EXPECT_EQ(early.treeBytes(), late.treeBytes());
    EXPECT_EQ(early.treeBytes(), changing(199).device_tree().SerializeAsString());
}

TEST_F(UpdatesTest, WhoComesAgainAfterALossGetsAllOfTheTree) {
    auto follower = std::make_unique<Follower>(published);
    follower->take();
    send(changing(0));
    follower->take();
    send(changing(1));
    follower->next();  // lost on its way
    send(changing(2));
    EXPECT_EQ(follower->take(), TreeFollower::Finding::Lost);
    const auto lost = follower->follower;
    follower = std::make_unique<Follower>(published);
    follower->follower = lost;
    EXPECT_EQ(follower->take(), TreeFollower::Finding::Changed);
    EXPECT_EQ(follower->treeBytes(), changing(2).device_tree().SerializeAsString());
}

TEST_F(UpdatesTest, WhoDoesNotReadThemCostsNobodyElseAny) {
    const SilentSubscriber silent(published, updateTopic());
    Follower follower(published);
    follower.take();
    constexpr int count = 3000;
    for (int number = 1; number <= count; ++number) {
        send(changing(number));
        if (number % 10 == 0) {
            follower.catchUpWith(static_cast<std::uint64_t>(number));
            ASSERT_TRUE(follower.follower.isFollowing());
        }
    }
    EXPECT_EQ(follower.treeBytes(), changing(count).device_tree().SerializeAsString());
}

TEST_F(UpdatesTest, WhoAsksForThemOverAndOverIsLetInOnce) {
    const SilentSubscriber subscriber(published, updateTopic());
    for (int i = 0; i < 10; ++i) {
        subscriber.subscribe(updateTopic());
    }
    Follower(published).next();
    Follower(published).next();  // it came after all of those
    gateway().signal(SIGUSR1);
    EXPECT_TRUE(gateway().waitForErr("newcomers 3, "));
}

TEST_F(UpdatesTest, AGatewayThatIsStartedAgainIsFollowedAgain) {
    Follower follower(published);
    follower.take();
    send(changing(1));
    follower.catchUpWith(1);
    stopGateway(SIGKILL);
    startGateway();
    EXPECT_EQ(follower.take(), TreeFollower::Finding::Changed);  // a catch-up without a tree
    EXPECT_EQ(follower.follower.tree(), nullptr);
    send(changing(2));
    EXPECT_EQ(follower.take(), TreeFollower::Finding::Changed);
    EXPECT_EQ(follower.treeBytes(), changing(2).device_tree().SerializeAsString());
}

}  // namespace tarn::gateway
