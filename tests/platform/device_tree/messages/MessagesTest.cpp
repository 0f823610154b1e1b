#include <gmock/gmock.h>

#include "platform/device_tree/DeviceNode.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

using testing::ElementsAre;
using testing::IsEmpty;
using Message = tarn::proto::monitoring::DeviceNode;

namespace {

Message withId(const std::string& id) {
    Message result;
    result.set_id(id);
    return result;
}

/// A chain of nodes, one below the other; their ids are their levels, from 1.
Message chain(int levels) {
    Message result = withId(std::to_string(levels));
    while (--levels > 0) {
        Message above = withId(std::to_string(levels));
        *above.add_sub_devices() = std::move(result);
        result = std::move(above);
    }
    return result;
}

void addStatus(Message& message, const std::string& name, double value) {
    auto& status = *message.add_statuses();
    status.set_name(name);
    status.set_type(tarn::proto::monitoring::NamedStatus::DOUBLE);
    status.set_double_value(value);
}

}  // namespace

TEST(DeviceNodeMessageTest, MayBeEmpty) {
    const DeviceNode node{Message()};

    EXPECT_EQ(node, DeviceNode("", "", DeviceClass::Generic));
    EXPECT_THAT(node.getSubDevices(), IsEmpty());
}

TEST(DeviceNodeMessageTest, IsReadWhole) {
    Message message = withId("id");
    message.set_name("name");
    message.set_device_class(Message::HOST);
    message.mutable_global_status()->set_level(tarn::proto::monitoring::GlobalStatus::ERROR);
    message.mutable_global_status()->set_description("bad");
    auto& property = *message.add_properties();
    property.set_name("p");
    property.set_value("v");
    addStatus(message, "s", 1.5);
    *message.add_sub_devices() = withId("sub");

    const DeviceNode node(message);

    EXPECT_EQ(node.getId(), "id");
    EXPECT_EQ(node.getName(), "name");
    EXPECT_EQ(node.getDeviceClass(), DeviceClass::Host);
    EXPECT_EQ(node.getGlobalStatus(), GlobalStatus(GlobalStatus::Level::Error, "bad"));
    EXPECT_THAT(node.getProperties(), ElementsAre(Property("p", Property::Type::Text, "v")));
    EXPECT_THAT(node.getStatuses(), ElementsAre(NamedStatus("s", 1.5)));
    EXPECT_EQ(node.size(), 2U);
    EXPECT_NE(node.getDeviceById("sub"), nullptr);
    EXPECT_EQ(DeviceNode(node.toProtoBuf()), node);
}

TEST(DeviceNodeMessageTest, TextIsTakenAsItIs) {
    Message message = withId(std::string("a\0\n\xff\xfe", 5));
    message.set_name("<b>\x1b[0m");

    const DeviceNode node(message);

    EXPECT_EQ(node.getId(), std::string("a\0\n\xff\xfe", 5));
    EXPECT_EQ(node.toProtoBuf().name(), "<b>\x1b[0m");
    EXPECT_NE(node.getDeviceById(node.getId()), nullptr);
}

TEST(DeviceNodeMessageTest, LastOfTheSameNameOrIdStays) {
    Message message = withId("id");
    for (const char* value : {"1", "2", "3"}) {
        auto& property = *message.add_properties();
        property.set_name("p");
        property.set_value(value);
    }
    addStatus(message, "s", 1);
    addStatus(message, "r", 5);
    addStatus(message, "s", 2);
    Message sub = withId("sub");
    *sub.add_sub_devices() = withId("gone");
    *message.add_sub_devices() = sub;
    *message.add_sub_devices() = withId("another");
    sub = withId("sub");
    sub.set_name("last");
    *message.add_sub_devices() = sub;

    const DeviceNode node(message);

    EXPECT_THAT(node.getProperties(), ElementsAre(Property("p", Property::Type::Text, "3")));
    EXPECT_THAT(node.getStatuses(), ElementsAre(NamedStatus("r", 5.0), NamedStatus("s", 2.0)));
    EXPECT_EQ(node.size(), 3U);
    EXPECT_EQ(node.getDeviceById("sub")->getName(), "last");
    EXPECT_EQ(node.getDeviceById("gone"), nullptr);
}

TEST(DeviceNodeMessageTest, LastOfTheSameNameStaysAmongMany) {
    Message message;
    for (int i = 0; i < 1000; ++i) {
        addStatus(message, "s" + std::to_string(i % 7), i);
    }

    const DeviceNode node(message);

    ASSERT_EQ(node.getStatuses().size(), 7U);
    for (int i = 0; i < 7; ++i) {
        const NamedStatus* status = node.getStatus("s" + std::to_string((993 + i) % 7));
        EXPECT_EQ(status->getValue(), NamedStatus::Value(993.0 + i));
    }
}

TEST(DeviceNodeMessageTest, IsReadDownToAHundredLevels) {
    const DeviceNode node(chain(100));

    EXPECT_EQ(node.size(), 100U);
    EXPECT_NE(node.getDeviceById("100"), nullptr);
}

TEST(DeviceNodeMessageTest, NodesBelowAHundredLevelsAreLeftOut) {
    const DeviceNode node(chain(150));

    EXPECT_EQ(node.size(), 100U);
    EXPECT_NE(node.getDeviceById("100"), nullptr);
    EXPECT_EQ(node.getDeviceById("101"), nullptr);
}

TEST(DeviceNodeMessageTest, IsOrderedByIdsAndNames) {
    DeviceNode node("root", "", DeviceClass::Generic);
    std::string error;
    for (const std::string id : {"c", "a", "b"}) {
        node.addSubDevice(std::make_shared<DeviceNode>(id, "", DeviceClass::Generic), true, error);
        node.addStatus(NamedStatus(id, 0.0));
    }
    const Message message = node.toProtoBuf();

    ASSERT_EQ(message.sub_devices_size(), 3);
    EXPECT_EQ(message.sub_devices(0).id(), "a");
    EXPECT_EQ(message.sub_devices(2).id(), "c");
    EXPECT_EQ(message.statuses(0).name(), "a");
    EXPECT_EQ(message.statuses(2).name(), "c");
}

TEST(DeviceNodeMessageTest, IsReplacedWhenFilledAgain) {
    Message message;
    const Message large = DeviceNode(chain(5)).toProtoBuf();
    DeviceNode small("small", "", DeviceClass::Host);
    small.addStatus(NamedStatus("s", 1.0));

    DeviceNode(chain(5)).toProtoBuf(message);
    EXPECT_EQ(message.SerializeAsString(), large.SerializeAsString());
    small.toProtoBuf(message);
    EXPECT_EQ(message.SerializeAsString(), small.toProtoBuf().SerializeAsString());
}

TEST(DeviceNodeMessageTest, OfStatusesAndPropertiesSurvivesTheWay) {
    const GlobalStatus status(GlobalStatus::Level::Warning, "w");
    const Property property("p", Property::Type::Text, "v");

    EXPECT_EQ(GlobalStatus(status.toProtoBuf()), status);
    EXPECT_EQ(Property(property.toProtoBuf()), property);
    EXPECT_EQ(GlobalStatus(tarn::proto::monitoring::GlobalStatus()), GlobalStatus());
    EXPECT_EQ(Property(tarn::proto::monitoring::Property()),
              Property("", Property::Type::Text, ""));
}

}  // namespace tarn::device_tree
