#include "platform/tree_updates/TreeFollower.h"

#include <gtest/gtest.h>

#include "platform/tree_updates/TreeDiffer.h"
#include "proto/service_event.pb.h"
#include "tests/platform/device_tree/TreeModel.h"

namespace tarn::tree_updates {

using device_tree::RandomModels;
using proto::monitoring::DeviceNode;
using proto::service_event::TreeDifference;
using proto::service_event::TreeUpdate;
using Finding = TreeFollower::Finding;

namespace {

TreeUpdate numbered(std::uint64_t sequence) {
    TreeUpdate update;
    auto& batch = *update.add_batch();
    batch.set_sequence(sequence);
    batch.set_gateway_instance("gateway");
    return update;
}

TreeUpdate catchUp(std::uint64_t sequence, const DeviceNode& tree) {
    auto update = numbered(sequence);
    update.mutable_batch(0)->set_catch_up(true);
    *update.mutable_device_tree() = tree;
    return update;
}

TreeUpdate removal(std::uint64_t sequence, const std::string& id) {
    auto update = numbered(sequence);
    update.mutable_difference()->add_removed(id);
    return update;
}

TreeUpdate addition(std::uint64_t sequence, std::vector<std::string> ids) {
    auto update = numbered(sequence);
    for (auto& id : ids) {
        update.mutable_difference()->add_added()->set_id(id);
    }
    return update;
}

DeviceNode treeOf(std::vector<std::string> ids) {
    DeviceNode tree;
    tree.set_id("System");
    for (auto& id : ids) {
        tree.add_sub_devices()->set_id(id);
    }
    return tree;
}

class TreeFollowerTest : public testing::Test {
  protected:
    Finding take(TreeUpdate update) { return follower.take(update); }

    void follows(const DeviceNode& tree, std::uint64_t sequence = 0) {
        ASSERT_EQ(take(catchUp(sequence, tree)), Finding::Changed);
    }

    void expectTree(std::vector<std::string> ids) {
        ASSERT_NE(follower.tree(), nullptr);
        EXPECT_EQ(follower.tree()->SerializeAsString(), treeOf(ids).SerializeAsString());
    }

    /// It waits for all of the tree, whatever comes.
    void expectToWait(std::uint64_t next) {
        EXPECT_FALSE(follower.isFollowing());
        EXPECT_EQ(take(addition(next, {"x"})), Finding::Nothing);
        EXPECT_EQ(take(catchUp(next, treeOf({"new"}))), Finding::Changed);
        expectTree({"new"});
        EXPECT_EQ(take(removal(next + 1, "new")), Finding::Changed);
        EXPECT_TRUE(follower.isFollowing());
    }

    TreeFollower follower;
};

}  // namespace

TEST_F(TreeFollowerTest, WaitsForACatchUp) {
    EXPECT_EQ(follower.tree(), nullptr);
    EXPECT_EQ(take(removal(1, "a")), Finding::Nothing);
    EXPECT_EQ(take(numbered(2)), Finding::Nothing);
    EXPECT_FALSE(follower.isFollowing());
}

TEST_F(TreeFollowerTest, FollowsWhatComesAndGoes) {
    follows(treeOf({"b", "d"}), 4);
    EXPECT_EQ(take(addition(5, {"a", "c", "e"})), Finding::Changed);
    expectTree({"a", "b", "c", "d", "e"});
    EXPECT_EQ(take(numbered(6)), Finding::Unchanged);
    EXPECT_EQ(take(removal(7, "d")), Finding::Changed);
    expectTree({"a", "b", "c", "e"});
    EXPECT_EQ(follower.sequence(), 7U);
}

TEST_F(TreeFollowerTest, PassesOverWhatMeansNothingAndWhatItHasSeen) {
    follows(treeOf({"a"}), 4);
    EXPECT_EQ(take(TreeUpdate()), Finding::Nothing);
    EXPECT_EQ(take(removal(4, "a")), Finding::Nothing);
    EXPECT_EQ(take(removal(5, "a")), Finding::Changed);
    EXPECT_EQ(take(removal(5, "a")), Finding::Nothing);
    expectTree({});
}

TEST_F(TreeFollowerTest, ANumberThatIsLeftOutIsALoss) {
    follows(treeOf({"a"}), 4);
    EXPECT_EQ(take(removal(6, "a")), Finding::Lost);
    expectToWait(7);
}

TEST_F(TreeFollowerTest, AnUpdateMayLeadThroughSeveralBatches) {
    follows(treeOf({"a"}), 4);
    auto update = removal(5, "a");
    update.mutable_batch()->MergeFrom(numbered(6).batch());
    EXPECT_EQ(take(update), Finding::Changed);
    EXPECT_EQ(follower.sequence(), 6U);
    EXPECT_EQ(take(update), Finding::Nothing);
    EXPECT_EQ(take(addition(7, {"b"})), Finding::Changed);
    expectTree({"b"});
}

TEST_F(TreeFollowerTest, ANumberThatIsLeftOutWithinAnUpdateIsALoss) {
    follows(treeOf({"a"}), 4);
    auto update = removal(5, "a");
    update.mutable_batch()->MergeFrom(numbered(7).batch());
    EXPECT_EQ(take(update), Finding::Lost);
    expectToWait(8);
}

TEST_F(TreeFollowerTest, AnotherGatewayIsALoss) {
    follows(treeOf({"a"}), 4);
    auto update = removal(5, "a");
    update.mutable_batch(0)->set_gateway_instance("another");
    EXPECT_EQ(take(update), Finding::Lost);
    expectToWait(6);
}

TEST_F(TreeFollowerTest, AllOfTheTreeMakesGoodForEveryLoss) {
    follows(treeOf({"a"}), 4);
    auto whole = numbered(9);
    *whole.mutable_device_tree() = treeOf({"whole"});
    EXPECT_EQ(take(whole), Finding::Changed);
    expectTree({"whole"});
    EXPECT_EQ(take(removal(10, "whole")), Finding::Changed);
    EXPECT_EQ(take(removal(12, "x")), Finding::Lost);
    whole = numbered(13);
    *whole.mutable_device_tree() = treeOf({"again"});
    EXPECT_EQ(take(whole), Finding::Changed);
    expectTree({"again"});
}

TEST_F(TreeFollowerTest, AGatewayMayHaveNoTreeYet) {
    auto update = numbered(3);
    update.mutable_batch(0)->set_catch_up(true);
    EXPECT_EQ(take(update), Finding::Changed);
    EXPECT_EQ(follower.tree(), nullptr);
    EXPECT_EQ(take(numbered(4)), Finding::Unchanged);
    EXPECT_EQ(take(removal(5, "a")), Finding::Damaged);
    expectToWait(6);
}

TEST_F(TreeFollowerTest, ADifferenceThatDoesNotFitIsDamaged) {
    for (const auto& update : {removal(5, "c"), removal(5, ""), addition(5, {"a"}),
                               addition(5, {"z", "y"}), addition(5, {"c", "c"})}) {
        follows(treeOf({"a", "b"}), 4);
        EXPECT_EQ(take(update), Finding::Damaged) << update.ShortDebugString();
        EXPECT_EQ(follower.tree(), nullptr);
        expectToWait(5);
    }
}

TEST_F(TreeFollowerTest, AChangeOfWhatIsNotThereIsDamaged) {
    for (const auto* id : {"c", "A"}) {
        follows(treeOf({"a", "b"}), 4);
        auto update = numbered(5);
        update.mutable_difference()->add_changed()->set_id(id);
        EXPECT_EQ(take(update), Finding::Damaged);
    }
}

TEST_F(TreeFollowerTest, AChangeThatGivesANodeAnotherIdIsDamaged) {
    follows(treeOf({"a", "b"}), 4);
    auto update = numbered(5);
    auto& changed = *update.mutable_difference()->add_changed();
    changed.set_id("a");
    changed.mutable_node()->set_id("z");
    EXPECT_EQ(take(update), Finding::Damaged);
}

TEST_F(TreeFollowerTest, PutsInOrderWhatNoServiceWrites) {
    follows(treeOf({"b", "a", "b", "a"}), 4);
    expectTree({"a", "b"});
    auto tree = treeOf({"x"});
    *tree.mutable_sub_devices(0) = treeOf({"2", "1"});
    follows(tree, 5);
    EXPECT_EQ(follower.tree()->sub_devices(0).sub_devices(0).id(), "1");
}

class RandomTreesFollowedTest : public testing::TestWithParam<unsigned> {};

TEST_P(RandomTreesFollowedTest, AreEqualAfterEachDifference) {
    RandomModels models(GetParam());
    auto root = models.tree(4).toDeviceNode();
    TreeFollower follower;
    auto first = catchUp(0, root.toProtoBuf());
    follower.take(first);
    int differences = 0;
    for (std::uint64_t step = 1; step < 300; ++step) {
        const auto before = contentOf(root);
        for (auto changes = models.below(5); changes > 0; --changes) {
            models.change(root);
        }
        auto update = numbered(step);
        if (const auto difference = differenceBetween(before, contentOf(root))) {
            ASSERT_TRUE(update.mutable_difference()->ParseFromString(*difference));
            ++differences;
        } else {
            *update.mutable_device_tree() = root.toProtoBuf();
        }
        ASSERT_EQ(follower.take(update), Finding::Changed);
        ASSERT_EQ(follower.tree()->SerializeAsString(), contentOf(root)) << "step " << step;
    }
    EXPECT_GT(differences, 100);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTreesFollowedTest, testing::Range(0U, 20U));

}  // namespace tarn::tree_updates
