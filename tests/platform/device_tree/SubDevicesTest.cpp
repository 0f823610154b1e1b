#include <gmock/gmock.h>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::device_tree {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::shared_ptr<DeviceNode> node(const std::string& id, const std::string& name = "") {
    return std::make_shared<DeviceNode>(id, name, DeviceClass::Generic);
}

std::vector<std::string> idsOf(const std::vector<DeviceNode>& nodes) {
    std::vector<std::string> result;
    for (const auto& each : nodes) {
        result.push_back(each.getId());
    }
    return result;
}

/// root > (a > (a1 > a11, a2), b)
class SubDevicesTest : public testing::Test {
  protected:
    SubDevicesTest() {
        const auto a1 = node("a1");
        const auto a = node("a");
        a1->addStatus(NamedStatus("s", 0.0));
        add(*a1, node("a11"));
        add(*a, a1);
        add(*a, node("a2"));
        add(root, a);
        add(root, node("b"));
    }

    void add(DeviceNode& parent, const std::shared_ptr<DeviceNode>& child) {
        EXPECT_TRUE(parent.addSubDevice(child, false, error)) << error;
    }

    DeviceNode root{"root", "root", DeviceClass::System};
    std::string error;
};

}  // namespace

TEST_F(SubDevicesTest, AreFoundAnywhereBelow) {
    for (const std::string id : {"root", "a", "a1", "a11", "a2", "b"}) {
        ASSERT_NE(root.getDeviceById(id), nullptr) << id;
        EXPECT_EQ(root.getDeviceById(id)->getId(), id);
    }
    EXPECT_EQ(root.getDeviceById("c"), nullptr);
    EXPECT_EQ(root.getDeviceById(""), nullptr);
    EXPECT_EQ(root.size(), 6U);
}

TEST_F(SubDevicesTest, AreToldFromThoseFurtherBelow) {
    ASSERT_NE(root.getSubDevice("a"), nullptr);
    EXPECT_TRUE(*root.getSubDevice("a") == *root.getDeviceById("a"));
    EXPECT_NE(root.getSubDevice("a")->getDeviceById("a11"), nullptr);
    EXPECT_EQ(root.getSubDevice("a1"), nullptr);
    EXPECT_EQ(root.getSubDevice("root"), nullptr);
}

TEST_F(SubDevicesTest, AreFoundWithAllBelowThem) {
    const auto a = root.getDeviceById("a");

    EXPECT_EQ(a->size(), 4U);
    EXPECT_NE(a->getDeviceById("a"), nullptr);
    EXPECT_NE(a->getDeviceById("a11"), nullptr);
    EXPECT_NE(a->getDeviceById("a1")->getDeviceById("a11"), nullptr);
    EXPECT_EQ(a->getDeviceById("b"), nullptr);
    EXPECT_EQ(a->getDeviceById("root"), nullptr);
}

TEST_F(SubDevicesTest, AreInTheOrderOfTheirIds) {
    add(root, node("0"));
    add(root, node("aa"));

    EXPECT_THAT(idsOf(root.getSubDevices()), ElementsAre("0", "a", "aa", "b"));
}

TEST_F(SubDevicesTest, AreWholeDevicesThemselves) {
    const auto devices = root.getSubDevices();

    EXPECT_NE(devices[0].getDeviceById("a11"), nullptr);
    EXPECT_EQ(devices[0].getDeviceById("b"), nullptr);
    EXPECT_EQ(devices[1].getDeviceById("a"), nullptr);
    EXPECT_THAT(idsOf(devices[0].getSubDevices()), ElementsAre("a1", "a2"));
}

TEST_F(SubDevicesTest, AreNotChangedThroughWhatWasFound) {
    const auto a = root.getDeviceById("a");
    a->updateGlobalStatus("a11", {GlobalStatus::Level::Error, ""});
    EXPECT_TRUE(a->removeSubDevice("a2", false, error));
    add(*a, node("a3"));

    EXPECT_EQ(a->getDeviceById("a11")->getGlobalStatus().level, GlobalStatus::Level::Error);
    EXPECT_EQ(a->getDeviceById("a2"), nullptr);
    EXPECT_NE(a->getDeviceById("a3"), nullptr);
    EXPECT_EQ(root.getDeviceById("a11")->getGlobalStatus().level, GlobalStatus::Level::Unknown);
    EXPECT_NE(root.getDeviceById("a2"), nullptr);
    EXPECT_EQ(root.getDeviceById("a3"), nullptr);
}

TEST_F(SubDevicesTest, MayBePutBackAfterTheyChanged) {
    const auto a = root.getDeviceById("a");
    EXPECT_TRUE(a->removeSubDevice("a1", false, error));
    add(*a, node("a3"));
    EXPECT_TRUE(root.addSubDevice(a, true, error));

    EXPECT_EQ(root.size(), 5U);
    EXPECT_EQ(root.getDeviceById("a11"), nullptr);
    EXPECT_NE(root.getDeviceById("a3"), nullptr);
    EXPECT_THAT(idsOf(root.getDeviceById("a")->getSubDevices()), ElementsAre("a2", "a3"));
}

TEST_F(SubDevicesTest, AreUpdatedAnywhereBelow) {
    const GlobalStatus warning(GlobalStatus::Level::Warning, "w");
    EXPECT_EQ(root.updateGlobalStatus("a11", warning), DeviceNode::StatusUpdate::Done);
    EXPECT_EQ(root.updateStatusValue("a1", NamedStatus("s", 2.5)), DeviceNode::StatusUpdate::Done);
    EXPECT_EQ(root.updateStatusValue("a2", NamedStatus("s", 2.5)),
              DeviceNode::StatusUpdate::StatusNotFound);

    EXPECT_EQ(root.getDeviceById("a11")->getGlobalStatus(), warning);
    EXPECT_EQ(*root.getDeviceById("a1")->getStatus("s"), NamedStatus("s", 2.5));
}

TEST_F(SubDevicesTest, AreReplacedWithAllBelowThem) {
    const auto other = node("a", "other");
    add(*other, node("a4"));

    EXPECT_TRUE(root.addSubDevice(other, true, error));

    EXPECT_EQ(root.size(), 4U);
    EXPECT_EQ(root.getDeviceById("a")->getName(), "other");
    EXPECT_NE(root.getDeviceById("a4"), nullptr);
    EXPECT_EQ(root.getDeviceById("a11"), nullptr);
}

TEST_F(SubDevicesTest, AreNotReplacedUnasked) {
    const DeviceNode before = root;

    EXPECT_FALSE(root.addSubDevice(node("a", "other"), false, error));

    EXPECT_EQ(error, "Device root already has a sub-device a");
    EXPECT_EQ(root, before);
}

TEST_F(SubDevicesTest, AreAddedBesideTheSameIdElsewhere) {
    add(root, node("a11"));
    EXPECT_EQ(root.size(), 7U);
}

TEST_F(SubDevicesTest, DoNotFollowTheNodeThatWasAdded) {
    const auto c = node("c");
    add(root, c);
    add(*c, node("c1"));

    EXPECT_EQ(root.getDeviceById("c1"), nullptr);
}

TEST_F(SubDevicesTest, CannotBeNothing) {
    EXPECT_FALSE(root.addSubDevice(nullptr, true, error));
    EXPECT_EQ(error, "No device to add below root");
}

TEST_F(SubDevicesTest, MayBeACopyOfTheNodeItself) {
    add(root, std::make_shared<DeviceNode>(root));

    EXPECT_EQ(root.size(), 12U);
    EXPECT_EQ(root.getDeviceById("root")->size(), 12U);
    EXPECT_EQ(root.getSubDevices()[2].size(), 6U);
}

TEST_F(SubDevicesTest, AreRemovedWithAllBelowThem) {
    EXPECT_TRUE(root.removeSubDevice("a", false, error));

    EXPECT_EQ(root.size(), 2U);
    for (const std::string id : {"a", "a1", "a11", "a2"}) {
        EXPECT_EQ(root.getDeviceById(id), nullptr) << id;
    }
    EXPECT_TRUE(root.removeSubDevice("b", true, error));
    EXPECT_THAT(root.getSubDevices(), IsEmpty());
}

TEST_F(SubDevicesTest, FurtherDownAreOnlyRemovedByADeepRemoval) {
    EXPECT_FALSE(root.removeSubDevice("a1", false, error));
    EXPECT_EQ(error, "Device root has no sub-device a1");
    EXPECT_EQ(root.size(), 6U);

    EXPECT_TRUE(root.removeSubDevice("a1", true, error));
    EXPECT_EQ(root.size(), 4U);
    EXPECT_EQ(root.getDeviceById("a")->size(), 2U);
    EXPECT_EQ(root.getDeviceById("a11"), nullptr);
}

TEST_F(SubDevicesTest, ThatAreUnknownCannotBeRemoved) {
    const DeviceNode before = root;

    EXPECT_FALSE(root.removeSubDevice("c\n", true, error));
    EXPECT_EQ(error, "Device root has no sub-device c\\n anywhere below");
    EXPECT_FALSE(root.removeSubDevice("root", true, error));
    EXPECT_EQ(root, before);
}

TEST_F(SubDevicesTest, OfASnapshotStay) {
    const DeviceNode snapshot = root;
    const std::string text = snapshot.debugString(0);

    root.updateGlobalStatus("a11", {GlobalStatus::Level::Error, "e"});
    root.removeSubDevice("a1", true, error);
    add(root, node("c"));

    EXPECT_EQ(snapshot.debugString(0), text);
    EXPECT_EQ(snapshot.size(), 6U);
    EXPECT_NE(snapshot.getDeviceById("a11"), nullptr);
    EXPECT_EQ(snapshot.getDeviceById("c"), nullptr);
}

}  // namespace tarn::device_tree
