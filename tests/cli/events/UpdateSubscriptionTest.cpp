#include "cli/events/UpdateSubscription.h"

#include <gtest/gtest.h>

#include "platform/socket/CatchUpPublisher.h"
#include "platform/tree_updates/UpdateTopic.h"
#include "proto/service_event.pb.h"
#include "tests/cli/FakeGateway.h"
#include "tests/support/peers/Responder.h"

namespace tarn::cli {

using proto::service_event::ServiceEventBatch;
using proto::service_event::TreeUpdate;
using socket::SocketEndpoint;
using Received = BatchSource::Received;
using Trees = UpdateSubscription::Trees;

namespace {

constexpr std::chrono::milliseconds updatesPatience{10000};
constexpr int uninterrupted = -1;

ServiceEventBatch nextOf(UpdateSubscription& subscription) {
    ServiceEventBatch batch;
    EXPECT_EQ(subscription.next(batch, updatesPatience, uninterrupted), Received::Batch);
    return batch;
}

class UpdateSubscriptionTest : public testing::Test {
  protected:
    UpdateSubscription subscription(Trees trees) const {
        return {SocketEndpoint::FromString(gateway.endpoint()), trees};
    }

    test::FakeGateway gateway;
};

}  // namespace

TEST_F(UpdateSubscriptionTest, GivesTheTreeWhereItHasChanged) {
    gateway.catchesUpWith(test::treeOf("host-1", "first"));
    gateway.publishes(test::withAdded(test::numbered(5), "cam1"));
    gateway.publishes(test::withTree(test::numbered(6), test::treeOf("host-2", "second")));
    auto followed = subscription(Trees::Wanted);
    const auto first = nextOf(followed);
    EXPECT_TRUE(first.catch_up());
    EXPECT_EQ(first.device_tree().sub_devices(0).id(), "host-1");
    const auto second = nextOf(followed);
    EXPECT_EQ(second.sequence(), 5U);
    EXPECT_EQ(second.events_size(), 1);
    EXPECT_FALSE(second.has_device_tree());
    EXPECT_EQ(nextOf(followed).device_tree().sub_devices(0).id(), "host-2");
}

TEST_F(UpdateSubscriptionTest, LeavesTreesOutForThoseWhoDoNotWantThem) {
    gateway.catchesUpWith(test::treeOf("host-1", "first"));
    gateway.publishes(test::withTree(test::numbered(5), test::treeOf("host-2", "second")));
    auto followed = subscription(Trees::Unwanted);
    EXPECT_FALSE(nextOf(followed).has_device_tree());
    EXPECT_FALSE(nextOf(followed).has_device_tree());
}

TEST_F(UpdateSubscriptionTest, ComesAnewAfterALoss) {
    gateway.catchesUpWith(test::treeOf("host-1", "first"));
    gateway.publishes(test::numbered(5));
    gateway.publishes(test::numbered(7));
    auto followed = subscription(Trees::Wanted);
    EXPECT_TRUE(nextOf(followed).catch_up());
    EXPECT_EQ(nextOf(followed).sequence(), 5U);
    EXPECT_EQ(nextOf(followed).sequence(), 7U);
    const auto again = nextOf(followed);
    EXPECT_TRUE(again.catch_up());
    EXPECT_TRUE(again.has_device_tree());
    EXPECT_EQ(gateway.newcomers(), 2U);
}

TEST_F(UpdateSubscriptionTest, ComesAnewAfterADifferenceThatDoesNotFitAndSaysSo) {
    gateway.catchesUpWith(test::treeOf("host-1", "first"));
    gateway.publishesRemoval(1, "away");
    auto followed = subscription(Trees::Wanted);
    EXPECT_TRUE(nextOf(followed).catch_up());
    ServiceEventBatch batch;
    EXPECT_EQ(followed.next(batch, updatesPatience, uninterrupted), Received::Garbage);
    EXPECT_TRUE(nextOf(followed).has_device_tree());
}

TEST(UnadmittedSubscriptionTest, ComesAnewUntilItIsLetIn) {
    const auto& topic = tree_updates::updateTopic();
    const auto endpoint = SocketEndpoint::FromString(test::newEndpoint());
    socket::CatchUpPublisher publisher(
        "deaf", {.everybody = topic + "\x1a", .filler = topic + "\x1a", .topic = topic}, 10);
    publisher.listen(endpoint);
    UpdateSubscription followed(endpoint, Trees::Unwanted, std::chrono::milliseconds(20));
    ServiceEventBatch batch;
    int came = 0;
    for (int tries = 0; tries < 1000 && came < 3; ++tries) {
        EXPECT_EQ(followed.next(batch, std::chrono::milliseconds(20), uninterrupted),
                  Received::Nothing);
        came += publisher.nextAnnouncement() == socket::CatchUpPublisher::Announcement::Came;
    }
    EXPECT_EQ(came, 3);
}

}  // namespace tarn::cli
