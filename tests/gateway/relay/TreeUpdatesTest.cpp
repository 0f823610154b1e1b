#include "gateway/relay/TreeUpdates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "gateway/relay/Relay.h"
#include "platform/tree_updates/TreeFollower.h"
#include "platform/tree_updates/UpdateTopic.h"
#include "tests/gateway/Batches.h"
#include "tests/platform/device_tree/TreeModel.h"

// What goes out on the topic of differences, and what those who follow it make of that.
namespace tarn::gateway {

using device_tree::RandomModels;
using proto::service_event::TreeUpdate;
using test::ServiceEventBatch;
using tree_updates::TreeFollower;
using Finding = TreeFollower::Finding;

namespace {

TreeUpdate updateIn(std::string_view bytes) {
    TreeUpdate update;
    EXPECT_TRUE(bytes.starts_with(tree_updates::updateTopic()));
    EXPECT_TRUE(update.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
    EXPECT_EQ(update.topic(), "differences");
    return update;
}

class TreeUpdatesTest : public testing::Test {
  protected:
    TreeUpdate update(const ServiceEventBatch& batch) {
        EXPECT_TRUE(relay.accept(batch.SerializeAsString()));
        const auto bytes = relay.takeUpdate();
        EXPECT_TRUE(bytes.starts_with(TreeUpdates::beginning()));
        return updateIn(bytes);
    }

    TreeUpdate catchUp() {
        const auto message = relay.catchUpOfUpdates();
        return updateIn(message.address + message.body);
    }

    void expectFollowed(const proto::monitoring::DeviceNode& tree) {
        ASSERT_NE(follower.tree(), nullptr);
        EXPECT_EQ(follower.tree()->SerializeAsString(), tree.SerializeAsString());
    }

    Relay relay{"instance"};
    TreeFollower follower;
};

}  // namespace

TEST_F(TreeUpdatesTest, AreNotMadeBeforeSomebodyComesForThem) {
    relay.accept(test::treeOnly("a").SerializeAsString());
    EXPECT_EQ(relay.bytesForUpdate(), 0U);
    relay.catchUp();
    relay.accept(test::treeOnly("b").SerializeAsString());
    EXPECT_EQ(relay.bytesForUpdate(), 0U);
    EXPECT_EQ(catchUp().device_tree().sub_devices(0).id(), "b");
    EXPECT_EQ(update({}).batch(0).sequence(), 3U);
}

TEST_F(TreeUpdatesTest, SayWhatTheBatchSaysButForItsTree) {
    catchUp();
    auto batch = test::deviceAdded("a");
    batch.set_service_sequence(9);
    batch.set_service_instance("service");
    const auto told = update(batch);
    batch.clear_device_tree();
    batch.set_sequence(1);
    batch.set_gateway_instance("instance");
    EXPECT_EQ(told.batch(0).SerializeAsString(), batch.SerializeAsString());
}

TEST_F(TreeUpdatesTest, BeginWithAllOfTheTreeAndGoOnWithDifferences) {
    catchUp();
    auto batch = test::fullTree(100);
    EXPECT_TRUE(update(batch).has_device_tree());
    EXPECT_FALSE(update({}).has_difference());
    EXPECT_FALSE(update(batch).has_difference());
    // Their ids are those of numbers, and so not in order.
    auto& root = *batch.mutable_device_tree();
    root.mutable_sub_devices()->DeleteSubrange(10, 90);
    EXPECT_TRUE(update(batch).has_device_tree());
    root.mutable_sub_devices(5)->set_name("another");
    const auto told = update(batch);
    EXPECT_FALSE(told.has_device_tree());
    EXPECT_EQ(told.difference().changed(0).node().name(), "another");
    EXPECT_LT(told.ByteSizeLong(), 300U);
}

TEST_F(TreeUpdatesTest, AreFollowedFromAnyCatchUpOn) {
    auto tree = test::fullTree(9);
    relay.accept(tree.SerializeAsString());
    auto first = catchUp();
    EXPECT_EQ(first.batch(0).sequence(), 1U);
    follower.take(first);
    expectFollowed(tree.device_tree());
    tree.mutable_device_tree()->mutable_sub_devices(3)->clear_sub_devices();
    auto second = update(tree);
    EXPECT_TRUE(second.has_difference());
    EXPECT_EQ(follower.take(second), Finding::Changed);
    expectFollowed(tree.device_tree());
}

TEST_F(TreeUpdatesTest, ComeWithTheAnswerOfTheServiceToo) {
    relay.accept(test::treeOnly("a").SerializeAsString());
    auto batch = ServiceEventBatch();
    batch.set_service_sequence(7);
    batch.set_service_instance("service");
    relay.accept(batch.SerializeAsString());
    auto first = catchUp();
    follower.take(first);
    auto answer = test::deviceAdded("b");
    ASSERT_TRUE(relay.settle(*relay.doubt(), answer.SerializeAsString()));
    auto told = updateIn(relay.takeUpdate());
    EXPECT_TRUE(told.batch(0).asked_for());
    EXPECT_EQ(told.batch(0).events_size(), 0);
    EXPECT_EQ(follower.take(told), Finding::Changed);
    expectFollowed(answer.device_tree());
}

TEST_F(TreeUpdatesTest, LeadThroughAllBatchesThatWait) {
    auto tree = test::fullTree(9);
    relay.accept(tree.SerializeAsString());
    auto first = catchUp();
    follower.take(first);
    for (int number = 0; number < 5; ++number) {
        tree.mutable_device_tree()->mutable_sub_devices(3)->set_name(std::to_string(number));
        relay.accept(tree.SerializeAsString());
        relay.accept("");
    }
    auto told = updateIn(relay.takeUpdate());
    EXPECT_EQ(relay.bytesForUpdate(), 0U);
    EXPECT_EQ(told.batch_size(), 10);
    EXPECT_EQ(told.batch(2).events_size(), 1);
    EXPECT_EQ(told.difference().changed_size(), 1);
    EXPECT_EQ(follower.take(told), Finding::Changed);
    EXPECT_EQ(follower.sequence(), 11U);
    expectFollowed(tree.device_tree());
}

TEST_F(TreeUpdatesTest, AddressesDoNotBeginWithEachOtherNorWithWhatAllGet) {
    std::vector<std::string> all{TreeUpdates::beginning()};
    for (const std::uint64_t number : {1, 2, 127, 128, 129, 300, 16384, 1000000}) {
        all.push_back(TreeUpdates::address(number));
    }
    for (const auto& one : all) {
        EXPECT_TRUE(one.starts_with(tree_updates::updateTopic()));
        EXPECT_EQ(std::count_if(all.begin(), all.end(),
                                [&](const auto& other) { return other.starts_with(one); }),
                  1);
    }
    auto filler = updateIn(TreeUpdates::filler());
    EXPECT_EQ(follower.take(filler), Finding::Nothing);
}

/// A service with random trees and, behind a gateway, one who loses some of what is sent.
class FollowedThroughLossesTest : public testing::TestWithParam<unsigned> {};

TEST_P(FollowedThroughLossesTest, TheTreeIsTheWholeOneWheneverItIsCurrent) {
    RandomModels models(GetParam());
    Relay relay("instance");
    TreeFollower follower;
    auto root = models.tree(4).toDeviceNode();
    int losses = 0;
    int current = 0;
    for (int step = 0; step < 400; ++step) {
        ServiceEventBatch batch;
        if (models.below(4) != 0) {
            models.change(root);
            root.toProtoBuf(*batch.mutable_device_tree());
        }
        if (batch.has_device_tree() && models.below(20) == 0) {
            auto& devices = *batch.mutable_device_tree()->mutable_sub_devices();
            std::reverse(devices.pointer_begin(), devices.pointer_end());
        }
        ASSERT_TRUE(relay.accept(batch.SerializeAsString()));
        if (models.below(3) == 0) {
            continue;  // it waits for what else comes
        }
        const auto bytes = relay.bytesForUpdate() > 0 ? relay.takeUpdate() : std::string();
        if (!follower.isFollowing()) {
            const auto message = relay.catchUpOfUpdates();
            auto first = updateIn(message.address + message.body);
            EXPECT_EQ(follower.take(first), Finding::Changed);
        } else if (models.below(10) != 0) {
            auto update = updateIn(bytes);
            const auto finding = follower.take(update);
            ASSERT_NE(finding, Finding::Damaged);
            losses += finding == Finding::Lost ? 1 : 0;
        } else {
            continue;
        }
        if (follower.isFollowing() && follower.tree() != nullptr) {
            ++current;
            ServiceEventBatch whole;
            const auto late = relay.catchUp();
            ASSERT_TRUE(whole.ParseFromString(late.address + late.body));
            ASSERT_EQ(whole.sequence(), follower.sequence());
            ASSERT_TRUE(device_tree::DeviceNode(whole.device_tree()) ==
                        device_tree::DeviceNode(*follower.tree()))
                << "step " << step;
        }
    }
    EXPECT_GT(losses, 8);
    EXPECT_GT(current, 150);
}

INSTANTIATE_TEST_SUITE_P(Seeds, FollowedThroughLossesTest, testing::Range(0U, 20U));

}  // namespace tarn::gateway
