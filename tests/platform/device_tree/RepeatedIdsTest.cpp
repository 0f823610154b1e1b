#include <gmock/gmock.h>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::device_tree {

namespace {

const GlobalStatus hot(GlobalStatus::Level::Warning, "hot");

std::shared_ptr<DeviceNode> node(const std::string& id, const std::string& name) {
    return std::make_shared<DeviceNode>(id, name, DeviceClass::Generic);
}

/// root > (a > (m > x), b > x, x): the names of the three x are "deep", "middle" and "top".
class RepeatedIdsTest : public testing::Test {
  protected:
    RepeatedIdsTest() {
        add(root, node("x", "top"));
        const auto b = node("b", "");
        add(*b, node("x", "middle"));
        add(root, b);
        const auto m = node("m", "");
        add(*m, node("x", "deep"));
        const auto a = node("a", "");
        add(*a, m);
        add(root, a);
    }

    void add(DeviceNode& parent, const std::shared_ptr<DeviceNode>& child) {
        EXPECT_TRUE(parent.addSubDevice(child, true, error)) << error;
    }

    std::string nameOf(const std::string& id) {
        const auto found = root.getDeviceById(id);
        return found ? found->getName() : "none";
    }

    DeviceNode root{"root", "root", DeviceClass::System};
    std::string error;
};

}  // namespace

TEST_F(RepeatedIdsTest, GiveTheFirstInWalkingOrder) {
    EXPECT_EQ(nameOf("x"), "deep");
    EXPECT_EQ(root.getDeviceById("b")->getDeviceById("x")->getName(), "middle");
    EXPECT_EQ(root.getSubDevices()[2].getDeviceById("x")->getName(), "top");
}

TEST_F(RepeatedIdsTest, GiveTheNextWhenTheFirstIsRemoved) {
    EXPECT_TRUE(root.removeSubDevice("x", true, error));
    EXPECT_EQ(nameOf("x"), "middle");
    EXPECT_TRUE(root.removeSubDevice("x", true, error));
    EXPECT_EQ(nameOf("x"), "top");
    EXPECT_TRUE(root.removeSubDevice("x", true, error));
    EXPECT_EQ(nameOf("x"), "none");
    EXPECT_FALSE(root.removeSubDevice("x", true, error));
}

TEST_F(RepeatedIdsTest, GiveTheNextWhenAnAncestorOfTheFirstIsRemoved) {
    EXPECT_TRUE(root.removeSubDevice("a", false, error));
    EXPECT_EQ(nameOf("x"), "middle");
}

TEST_F(RepeatedIdsTest, GiveANewOneThatComesBefore) {
    const auto first = node("0", "");
    add(*first, node("x", "newest"));
    add(root, first);
    EXPECT_EQ(nameOf("x"), "newest");
}

TEST_F(RepeatedIdsTest, GiveTheParentBeforeItsChildren) {
    const auto y = node("y", "parent");
    add(*y, node("y", "child"));
    add(root, y);

    EXPECT_EQ(nameOf("y"), "parent");
    EXPECT_TRUE(root.removeSubDevice("y", true, error));
    EXPECT_EQ(nameOf("y"), "none");
}

TEST_F(RepeatedIdsTest, GiveTheRootBeforeAllOthers) {
    add(root, node("root", "below"));

    EXPECT_EQ(nameOf("root"), "root");
    EXPECT_TRUE(root.removeSubDevice("root", true, error));
    EXPECT_FALSE(root.removeSubDevice("root", true, error));
}

TEST_F(RepeatedIdsTest, UpdateJustTheOneThatIsFound) {
    EXPECT_EQ(root.updateGlobalStatus("x", hot), DeviceNode::StatusUpdate::Done);

    EXPECT_EQ(root.getDeviceById("m")->getDeviceById("x")->getGlobalStatus(), hot);
    EXPECT_EQ(root.getDeviceById("b")->getDeviceById("x")->getGlobalStatus(), GlobalStatus());
}

TEST_F(RepeatedIdsTest, OfSharedSubDevicesAreStillTwoNodes) {
    const auto same = node("same", "");
    add(*same, node("z", "z"));
    const auto other = node("other", "");
    add(*other, same);
    add(root, other);
    add(root, same);

    root.updateGlobalStatus("z", hot);

    EXPECT_EQ(root.getDeviceById("other")->getDeviceById("z")->getGlobalStatus(), hot);
    root.removeSubDevice("other", false, error);
    EXPECT_EQ(root.getDeviceById("z")->getGlobalStatus(), GlobalStatus());
}

TEST_F(RepeatedIdsTest, AreFoundByTheThousand) {
    DeviceNode tree("root", "", DeviceClass::System);
    for (int i = 0; i < 2000; ++i) {
        const auto parent = node(std::to_string(1000000 + i), "");
        add(*parent, node("x", std::to_string(i)));
        add(tree, parent);
    }
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(tree.getDeviceById("x")->getName(), std::to_string(i));
        ASSERT_TRUE(tree.removeSubDevice("x", true, error));
    }
    EXPECT_EQ(tree.getDeviceById("x"), nullptr);
    EXPECT_EQ(tree.size(), 2001U);
}

}  // namespace tarn::device_tree
