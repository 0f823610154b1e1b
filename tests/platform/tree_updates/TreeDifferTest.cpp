#include "platform/tree_updates/TreeDiffer.h"

#include <gmock/gmock.h>

#include "proto/service_event.pb.h"

namespace tarn::tree_updates {

using proto::monitoring::DeviceNode;
using proto::monitoring::GlobalStatus;
using proto::service_event::TreeDifference;
using testing::ElementsAre;

namespace {

DeviceNode node(const std::string& id, const std::vector<DeviceNode>& below = {}) {
    DeviceNode result;
    result.set_id(id);
    result.set_name("device " + id);
    for (const auto& device : below) {
        *result.add_sub_devices() = device;
    }
    return result;
}

DeviceNode chain(int levels) {
    auto result = node("leaf");
    for (int level = 1; level < levels; ++level) {
        result = node("level", {result});
    }
    return result;
}

TreeDifference difference(const DeviceNode& before, const DeviceNode& after) {
    const auto bytes = differenceBetween(before.SerializeAsString(), after.SerializeAsString());
    EXPECT_TRUE(bytes);
    TreeDifference result;
    EXPECT_TRUE(result.ParseFromString(bytes.value_or("")));
    return result;
}

bool hasDifference(const DeviceNode& before, const DeviceNode& after) {
    return differenceBetween(before.SerializeAsString(), after.SerializeAsString()).has_value();
}

// Large enough for differences to be smaller than it.
const DeviceNode tree = node("System", {node("a", {node("a1"), node("a2")}), node("b"), node("c"),
                                        node("d"), node("e"), node("f")});

bool isOrderly(const DeviceNode& root) {
    return tree_updates::isOrderly(root.SerializeAsString());
}

}  // namespace

TEST(TreeDifferTest, EqualTreesHaveAnEmptyDifference) {
    const auto bytes = tree.SerializeAsString();
    EXPECT_EQ(differenceBetween(bytes, bytes), "");
}

TEST(TreeDifferTest, AStatusIsToldAsItsNodeWithoutWhatIsBelow) {
    auto after = tree;
    after.mutable_sub_devices(0)->mutable_global_status()->set_level(GlobalStatus::ERROR);
    const auto told = difference(tree, after);
    ASSERT_EQ(told.changed_size(), 1);
    EXPECT_EQ(told.changed(0).id(), "a");
    EXPECT_EQ(told.changed(0).node().global_status().level(), GlobalStatus::ERROR);
    EXPECT_EQ(told.changed(0).node().sub_devices_size(), 0);
    EXPECT_FALSE(told.changed(0).changed_size() > 0 || told.has_node());
}

TEST(TreeDifferTest, WhatCameAndWhatWentIsToldWhereItWas) {
    auto after = node("System", {node("a", {node("a2"), node("a3", {node("below")})}), node("b"),
                                 node("d"), node("e"), node("f"), node("z")});
    const auto told = difference(tree, after);
    EXPECT_THAT(told.removed(), ElementsAre("c"));
    ASSERT_EQ(told.added_size(), 1);
    EXPECT_EQ(told.added(0).id(), "z");
    ASSERT_EQ(told.changed_size(), 1);
    EXPECT_FALSE(told.changed(0).has_node());
    EXPECT_THAT(told.changed(0).removed(), ElementsAre("a1"));
    EXPECT_EQ(told.changed(0).added(0).sub_devices(0).id(), "below");
}

TEST(TreeDifferTest, TheRootItselfMayChange) {
    auto after = tree;
    after.set_name("another");
    EXPECT_EQ(difference(tree, after).node().name(), "another");
}

TEST(TreeDifferTest, WhatIsLargerThanTheTreeIsNotToldAsADifference) {
    EXPECT_FALSE(hasDifference(node("System", {node("a")}), node("Another", {node("b")})));
}

TEST(TreeDifferTest, OrderlyIsWhatHasIdsInFrontAndAscending) {
    EXPECT_TRUE(isOrderly(tree));
    EXPECT_TRUE(isOrderly(node("", {node(""), node("\x7f"), node("\x80")})));
    EXPECT_FALSE(isOrderly(node("System", {node("b"), node("a")})));
    EXPECT_FALSE(isOrderly(node("System", {node("a"), node("a")})));
    EXPECT_FALSE(isOrderly(node("System", {node("x", {node("b"), node("a")}), node("y")})));
    EXPECT_FALSE(isOrderly(DeviceNode()));
    DeviceNode nameless;
    nameless.set_name("no id");
    EXPECT_FALSE(isOrderly(node("System", {nameless})));
}

TEST(TreeDifferTest, OrderlyIsNotWhatHasASecondIdOrFieldsBehindItsSubDevices) {
    const auto bytes = node("System", {node("a")}).SerializeAsString();
    EXPECT_FALSE(isOrderly(bytes + node("again").SerializeAsString()));
    DeviceNode name;
    name.set_name("late");
    EXPECT_FALSE(isOrderly(bytes + name.SerializeAsString()));
    DeviceNode twice;
    twice.set_id("b");
    EXPECT_FALSE(isOrderly(node("a").SerializeAsString() + twice.SerializeAsString()));
    EXPECT_FALSE(isOrderly(bytes.substr(0, bytes.size() - 1)));
}

TEST(TreeDifferTest, WhatIsNotOrderlyAnyMoreIsNotToldAsADifference) {
    auto after = tree;
    after.mutable_sub_devices()->SwapElements(2, 3);
    EXPECT_FALSE(hasDifference(tree, after));
    after = tree;
    *after.mutable_sub_devices(1) = node("b", {node("y"), node("x")});
    EXPECT_FALSE(hasDifference(tree, after));
    after = tree;
    *after.add_sub_devices() = node("z", {node("y"), node("x")});
    EXPECT_FALSE(hasDifference(tree, after));
    after = tree;
    *after.add_sub_devices() = node("f");
    EXPECT_FALSE(hasDifference(tree, after));
}

TEST(TreeDifferTest, WhatReadersCouldNotReadIsNotToldAsADifference) {
    auto deep = chain(97);
    auto deeper = chain(99);
    EXPECT_FALSE(isOrderly(deep));
    EXPECT_FALSE(hasDifference(chain(80), deeper));
    auto before = chain(80);
    auto after = before;
    auto* leaf = &after;
    while (leaf->sub_devices_size() > 0) {
        leaf = leaf->mutable_sub_devices(0);
    }
    leaf->mutable_global_status()->set_level(GlobalStatus::OK);
    EXPECT_TRUE(isOrderly(before));
    TreeDifference read;
    EXPECT_TRUE(read.ParseFromString(
        differenceBetween(before.SerializeAsString(), after.SerializeAsString()).value()));
}

}  // namespace tarn::tree_updates
