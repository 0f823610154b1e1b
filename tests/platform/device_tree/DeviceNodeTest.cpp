#include "platform/device_tree/DeviceNode.h"

#include <gmock/gmock.h>

#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const GlobalStatus fine(GlobalStatus::Level::Ok, "fine");
const GlobalStatus hot(GlobalStatus::Level::Warning, "hot");

Property property(const std::string& name, const std::string& value) {
    return Property(name, Property::Type::Text, value);
}

std::shared_ptr<DeviceNode> shared(const DeviceNode& node) {
    return std::make_shared<DeviceNode>(node);
}

}  // namespace

TEST(DeviceNodeTest, IsWhatItWasMadeOf) {
    const DeviceNode node("id", "name", DeviceClass::Capture);

    EXPECT_EQ(node.getId(), "id");
    EXPECT_EQ(node.getName(), "name");
    EXPECT_EQ(node.getDeviceClass(), DeviceClass::Capture);
    EXPECT_EQ(node.getGlobalStatus(), GlobalStatus());
    EXPECT_THAT(node.getProperties(), IsEmpty());
    EXPECT_THAT(node.getStatuses(), IsEmpty());
    EXPECT_THAT(node.getSubDevices(), IsEmpty());
    EXPECT_EQ(node.size(), 1U);
}

TEST(DeviceNodeTest, HasPropertiesInTheOrderOfTheirNames) {
    DeviceNode node("id", "name", DeviceClass::Generic);
    node.addProperty(property("b", "1"));
    node.addProperty(property("c", "2"));
    node.addProperty(property("a", "3"));

    EXPECT_THAT(node.getProperties(),
                ElementsAre(property("a", "3"), property("b", "1"), property("c", "2")));
    EXPECT_EQ(*node.getProperty("c"), property("c", "2"));
    EXPECT_EQ(node.getProperty("d"), nullptr);
    EXPECT_EQ(node.getProperty(""), nullptr);
}

TEST(DeviceNodeTest, HasStatusesInTheOrderOfTheirNames) {
    DeviceNode node("id", "name", DeviceClass::Generic);
    node.addStatus(NamedStatus("b", 1.0));
    node.addStatus(NamedStatus("a", "text"));

    EXPECT_THAT(node.getStatuses(), ElementsAre(NamedStatus("a", "text"), NamedStatus("b", 1.0)));
    EXPECT_EQ(*node.getStatus("b"), NamedStatus("b", 1.0));
    EXPECT_EQ(node.getStatus("c"), nullptr);
}

TEST(DeviceNodeTest, ReplacesAPropertyOrStatusOfTheSameName) {
    DeviceNode node("id", "name", DeviceClass::Generic);
    node.addProperty(property("p", "old"));
    node.addProperty(property("p", "new"));
    node.addStatus(NamedStatus("s", 1.0));
    node.addStatus(NamedStatus("s", "another type"));

    EXPECT_THAT(node.getProperties(), ElementsAre(property("p", "new")));
    EXPECT_THAT(node.getStatuses(), ElementsAre(NamedStatus("s", "another type")));
}

TEST(DeviceNodeTest, DoesNotSeeChangesOfItsCopies) {
    DeviceNode original("id", "name", DeviceClass::Generic);
    original.setGlobalStatus(fine);
    original.addProperty(property("p", "old"));
    original.addStatus(NamedStatus("s", 1.0));
    std::string error;

    DeviceNode copy = original;
    copy.setGlobalStatus(hot);
    copy.addProperty(property("p", "new"));
    copy.addStatus(NamedStatus("s", 2.0));
    copy.addSubDevice(shared(DeviceNode("sub", "", DeviceClass::Generic)), false, error);

    EXPECT_EQ(original.getGlobalStatus(), fine);
    EXPECT_EQ(*original.getProperty("p"), property("p", "old"));
    EXPECT_EQ(*original.getStatus("s"), NamedStatus("s", 1.0));
    EXPECT_EQ(original.size(), 1U);
    EXPECT_EQ(copy.getGlobalStatus(), hot);
    EXPECT_EQ(copy.size(), 2U);
}

TEST(DeviceNodeTest, UpdatesItsOwnStatuses) {
    DeviceNode node("id", "name", DeviceClass::Generic);
    node.addStatus(NamedStatus("s", std::int64_t{1}));

    EXPECT_EQ(node.updateGlobalStatus("id", hot), DeviceNode::StatusUpdate::Done);
    EXPECT_EQ(node.updateStatusValue("id", NamedStatus("s", "42")), DeviceNode::StatusUpdate::Done);

    EXPECT_EQ(node.getGlobalStatus(), hot);
    EXPECT_EQ(*node.getStatus("s"), NamedStatus("s", std::int64_t{42}));
}

TEST(DeviceNodeTest, TellsWhyAStatusIsNotUpdated) {
    DeviceNode node("id", "name", DeviceClass::Generic);
    node.addStatus(NamedStatus("s", 1.0));
    const DeviceNode before = node;

    EXPECT_EQ(node.updateGlobalStatus("other", hot), DeviceNode::StatusUpdate::NodeNotFound);
    EXPECT_EQ(node.updateStatusValue("other", NamedStatus("s", 2.0)),
              DeviceNode::StatusUpdate::NodeNotFound);
    EXPECT_EQ(node.updateStatusValue("id", NamedStatus("t", 2.0)),
              DeviceNode::StatusUpdate::StatusNotFound);
    EXPECT_EQ(node, before);
}

TEST(DeviceNodeTest, MayBeUpdatedWithItsOwnStatus) {
    DeviceNode node("id", "name", DeviceClass::Generic);
    node.addStatus(NamedStatus("a", "a text that is too long to be kept in place"));
    node.addStatus(NamedStatus("b", ""));
    node.setGlobalStatus(
        {GlobalStatus::Level::Error, "a text that is too long to be kept in place"});
    const DeviceNode snapshot = node;

    node.updateGlobalStatus(node.getId(), node.getGlobalStatus());
    node.addStatus(NamedStatus("b", node.getStatus("a")->getValue()));

    EXPECT_EQ(node.getStatus("b")->getValue(), node.getStatus("a")->getValue());
    EXPECT_EQ(node.getGlobalStatus(), snapshot.getGlobalStatus());
}

TEST(DeviceNodeTest, MayBeMovedAndAssigned) {
    DeviceNode node("id", "name", DeviceClass::Generic);
    DeviceNode moved = std::move(node);
    node = DeviceNode("other", "", DeviceClass::Host);
    moved = *&moved;

    EXPECT_EQ(moved.getId(), "id");
    EXPECT_EQ(node.getId(), "other");
}

TEST(DeviceNodeTest, EqualsOneOfTheSameContent) {
    DeviceNode a("id", "name", DeviceClass::Generic);
    DeviceNode b("id", "name", DeviceClass::Generic);
    EXPECT_EQ(a, b);

    a.addProperty(property("p", "1"));
    EXPECT_NE(a, b);
    b.addProperty(property("p", "1"));
    EXPECT_EQ(a, b);

    a.addStatus(NamedStatus("s", 1.0));
    EXPECT_NE(a, b);
    b.addStatus(NamedStatus("s", std::int64_t{1}));
    EXPECT_NE(a, b);
    b.addStatus(NamedStatus("s", 1.0));
    EXPECT_EQ(a, b);

    a.setGlobalStatus(hot);
    EXPECT_NE(a, b);
    EXPECT_NE(DeviceNode("id", "n", DeviceClass::Host), DeviceNode("id", "n", DeviceClass::System));
    EXPECT_NE(DeviceNode("id", "n", DeviceClass::Host), DeviceNode("id", "m", DeviceClass::Host));
    EXPECT_NE(DeviceNode("id", "n", DeviceClass::Host), DeviceNode("ie", "n", DeviceClass::Host));
}

TEST(DeviceNodeTest, EqualsOneWithTheSameSubDevices) {
    std::string error;
    DeviceNode a("id", "name", DeviceClass::Generic);
    DeviceNode b("id", "name", DeviceClass::Generic);
    a.addSubDevice(shared(DeviceNode("x", "", DeviceClass::Generic)), false, error);
    b.addSubDevice(shared(DeviceNode("y", "", DeviceClass::Generic)), false, error);
    EXPECT_NE(a, b);

    a.addSubDevice(shared(DeviceNode("y", "", DeviceClass::Generic)), false, error);
    b.addSubDevice(shared(DeviceNode("x", "", DeviceClass::Generic)), false, error);
    EXPECT_EQ(a, b);
}

}  // namespace tarn::device_tree
