#include "platform/device_tree/persistent/StructuralSharing.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/TreeSerialiser.h"
#include "platform/device_tree/messages/Messages.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace {

using Message = proto::monitoring::DeviceNode;
using Node = CopyOnWrite<Content>;

/// A device with parts "0" to "9", and ten parts below each.
Message device() {
    Message message;
    message.set_id("device");
    for (int i = 0; i < 10; ++i) {
        auto& part = *message.add_sub_devices();
        part.set_id(std::to_string(i));
        for (int j = 0; j < 10; ++j) {
            auto& below = *part.add_sub_devices();
            below.set_id(part.id() + "." + std::to_string(j));
            auto& status = *below.add_statuses();
            status.set_name("Load");
            status.set_type(proto::monitoring::NamedStatus::DOUBLE);
            status.set_double_value(0.0 / 0.0);
        }
    }
    return message;
}

const Node& child(const Node& node, const std::string& id) {
    return *node->children.find(id);
}

/// Adds, removes and changes parts anywhere in a device; a part may come again elsewhere.
void changeAtRandom(Message& node, std::mt19937& random) {
    auto& parts = *node.mutable_sub_devices();
    switch (random() % 5) {
        case 0:
            parts.Add()->set_id(std::to_string(random() % 30));
            return;
        case 1:
            if (!parts.empty()) {
                parts.DeleteSubrange(static_cast<int>(random() % parts.size()), 1);
            }
            return;
        case 2:
            node.set_name(std::to_string(random() % 3));
            return;
        default:
            if (!parts.empty()) {
                changeAtRandom(parts[static_cast<int>(random() % parts.size())], random);
            }
    }
}

void collectIds(const Message& node, std::set<std::string>& ids) {
    ids.insert(node.id());
    for (const auto& part : node.sub_devices()) {
        collectIds(part, ids);
    }
}

DeviceNode systemWith(const Message& message) {
    DeviceNode root("System", "System", DeviceClass::System);
    std::string error;
    EXPECT_TRUE(root.addSubDevice(std::make_shared<DeviceNode>(message), true, error));
    return root;
}

}  // namespace

TEST(StructuralSharingTest, WhatIsEqualIsTheOneBefore) {
    const Node before = contentOf(device());
    EXPECT_TRUE(sharedWith(before, contentOf(device())).sharesWith(before));
    EXPECT_TRUE(sharedWith(before, before).sharesWith(before));
}

TEST(StructuralSharingTest, AllButTheWayToAChangeIsTheOneBefore) {
    auto message = device();
    const Node before = contentOf(message);
    message.mutable_sub_devices(3)->mutable_sub_devices(4)->set_name("changed");
    message.mutable_sub_devices(5)->mutable_sub_devices()->DeleteSubrange(0, 1);
    message.mutable_sub_devices(6)->add_sub_devices()->set_id("new");
    const Node after = sharedWith(before, contentOf(message));
    EXPECT_FALSE(after.sharesWith(before));
    EXPECT_TRUE(after->description.sharesWith(before->description));
    EXPECT_TRUE(after->state.sharesWith(before->state));
    for (const auto* same : {"0", "1", "2", "4", "7", "8", "9"}) {
        EXPECT_TRUE(child(after, same).sharesWith(child(before, same))) << same;
    }
    EXPECT_EQ(child(child(after, "3"), "3.4")->description->name, "changed");
    EXPECT_TRUE(child(child(after, "3"), "3.5").sharesWith(child(child(before, "3"), "3.5")));
    EXPECT_EQ(child(after, "5")->children.find(std::string_view("5.0")), nullptr);
    EXPECT_EQ(child(after, "6")->children.size(), 11U);
    EXPECT_EQ(after->size, before->size);
    EXPECT_EQ(before->size, 111U);
}

TEST(StructuralSharingTest, AStatusThatIsAnotherIsNotTheOneBefore) {
    auto message = device();
    const Node before = contentOf(message);
    auto& part = *message.mutable_sub_devices(3);
    part.mutable_global_status()->set_description("hot");
    part.mutable_sub_devices(4)->mutable_statuses(0)->set_double_value(1.0);
    const Node after = sharedWith(before, contentOf(message));
    EXPECT_EQ(child(after, "3")->state->global.description, "hot");
    EXPECT_EQ(child(child(after, "3"), "3.4")->state->statuses.at(0).getValue(),
              NamedStatus::Value(1.0));
    EXPECT_EQ(child(child(before, "3"), "3.4")->state->statuses.size(), 1U);
}

TEST(StructuralSharingTest, ADeviceThatIsReplacedIsAsIfItHadAlwaysBeenSo) {
    std::mt19937 random(1);
    auto message = device();
    DeviceNode root = systemWith(message);
    std::set<std::string> known;
    TreeSerialiser serialiser;
    for (int round = 0; round < 1000; ++round) {
        collectIds(message, known);
        for (unsigned changes = random() % 4; changes > 0; --changes) {
            changeAtRandom(message, random);
        }
        const DeviceNode snapshot = root;
        std::string error;
        ASSERT_TRUE(root.addSubDevice(std::make_shared<DeviceNode>(message), true, error));
        const DeviceNode fresh = systemWith(message);
        ASSERT_TRUE(root == fresh);
        ASSERT_EQ(root.size(), fresh.size());
        ASSERT_EQ(serialiser.serialise(root), fresh.toProtoBuf().SerializeAsString());
        for (const auto& id : known) {
            const auto found = root.getDeviceById(id);
            const auto expected = fresh.getDeviceById(id);
            ASSERT_EQ(found == nullptr, expected == nullptr) << id;
            ASSERT_TRUE(found == nullptr || *found == *expected) << id;
        }
    }
}

}  // namespace tarn::device_tree
