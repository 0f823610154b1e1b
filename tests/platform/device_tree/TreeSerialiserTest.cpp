#include "platform/device_tree/TreeSerialiser.h"

#include <gmock/gmock.h>

#include "proto/monitoring.pb.h"
#include "tests/platform/device_tree/TreeModel.h"

namespace tarn::device_tree {

namespace {

std::string bytesOf(const DeviceNode& node) {
    return node.toProtoBuf().SerializeAsString();
}

void add(DeviceNode& parent, const DeviceNode& child) {
    std::string error;
    ASSERT_TRUE(parent.addSubDevice(std::make_shared<DeviceNode>(child), true, error));
}

DeviceNode chain(int levels) {
    DeviceNode node("leaf", "leaf", DeviceClass::Generic);
    for (int level = 0; level < levels; ++level) {
        DeviceNode parent("id" + std::to_string(level), std::string(300, 'n'), DeviceClass::Host);
        add(parent, node);
        node = parent;
    }
    return node;
}

class TreeSerialiserTest : public testing::Test {
  protected:
    void SetUp() override {
        for (int i = 10; i < 40; ++i) {
            DeviceNode device("d" + std::to_string(i), "", DeviceClass::Generic);
            device.addStatus(NamedStatus("Load", 0.5));
            add(root, device);
        }
        serialiser.serialise(root);
    }

    void expectSame() { EXPECT_EQ(serialiser.serialise(root), bytesOf(root)); }

    TreeSerialiser serialiser;
    DeviceNode root{"root", "Root", DeviceClass::System};
    std::string error;
};

}  // namespace

TEST_F(TreeSerialiserTest, GivesTheBytesOfTheMessage) {
    expectSame();
    expectSame();
}

TEST_F(TreeSerialiserTest, FollowsANewFirstMiddleAndLastSubDevice) {
    for (const auto* id : {"a", "d25x", "z"}) {
        add(root, DeviceNode(id, "", DeviceClass::Generic));
        expectSame();
    }
}

TEST_F(TreeSerialiserTest, FollowsTheRemovalOfTheFirstAMiddleAndTheLastSubDevice) {
    for (const auto* id : {"d10", "d25", "d39"}) {
        ASSERT_TRUE(root.removeSubDevice(id, false, error));
        expectSame();
    }
}

TEST_F(TreeSerialiserTest, FollowsAStatusAndTheRootsOwnFields) {
    root.updateStatusValue("d20", NamedStatus("Load", 0.75));
    expectSame();
    root.setGlobalStatus({GlobalStatus::Level::Error, std::string(200, 'x')});
    root.addProperty(Property("P", Property::Type::Text, "1"));
    expectSame();
}

TEST_F(TreeSerialiserTest, FollowsTheLastSubDeviceGoingAndANewFirst) {
    for (int i = 10; i < 40; ++i) {
        ASSERT_TRUE(root.removeSubDevice("d" + std::to_string(i), false, error));
    }
    expectSame();
    add(root, DeviceNode("a", "", DeviceClass::Generic));
    expectSame();
}

TEST_F(TreeSerialiserTest, TakesAnotherTreeOfTheSameIdsForAnother) {
    DeviceNode other("root", "Other", DeviceClass::System);
    DeviceNode device("d20", "another", DeviceClass::Capture);
    add(device, DeviceNode("d21", "below", DeviceClass::Capture));
    add(other, device);
    root = other;
    expectSame();
}

TEST_F(TreeSerialiserTest, TakesEmptyTextsAndNodesWithoutFields) {
    root = DeviceNode("", "", DeviceClass::Generic);
    add(root, DeviceNode("", "", DeviceClass::Generic));
    expectSame();
    add(root, DeviceNode("b", "", DeviceClass::Generic));
    expectSame();
}

TEST_F(TreeSerialiserTest, GivesADeepTreeWhoseDeepestNodeChanges) {
    root = chain(90);
    expectSame();
    root.updateGlobalStatus("leaf", {GlobalStatus::Level::Warning, "hot"});
    expectSame();
}

class RandomTreesSerialisedTest : public testing::TestWithParam<unsigned> {};

TEST_P(RandomTreesSerialisedTest, AreAsTheirMessages) {
    RandomModels models(GetParam());
    TreeSerialiser serialiser;
    DeviceNode root = models.tree(3).toDeviceNode();
    for (int step = 0; step < 300; ++step) {
        models.change(root);
        if (models.below(3) != 0) {
            ASSERT_EQ(serialiser.serialise(root), bytesOf(root)) << "step " << step;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTreesSerialisedTest, testing::Range(0U, 20U));

}  // namespace tarn::device_tree
