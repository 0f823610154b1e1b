#include "cli/output/TreeDrawing.h"

#include <gtest/gtest.h>

#include "proto/monitoring.pb.h"
#include "tests/cli/FakeGateway.h"

namespace tarn::cli {

using proto::monitoring::DeviceNode;
using proto::monitoring::GlobalStatus;
using proto::monitoring::NamedStatus;

namespace {

std::string drawn(const DeviceNode& root, Details details = Details::Statuses,
                  Colours colours = Colours::Off) {
    std::string text;
    for (const StyledLine& line : drawTree(root, details)) {
        text += line.text(colours) + "\n";
    }
    return text;
}

NamedStatus& addStatus(DeviceNode& device, const std::string& name, NamedStatus::Type type) {
    NamedStatus& status = *device.add_statuses();
    status.set_name(name);
    status.set_type(type);
    return status;
}

}  // namespace

TEST(TreeDrawingTest, ShowsIdsNamesClassesAndStatuses) {
    EXPECT_EQ(drawn(test::treeOf("host-1", "disk full")),
              "System (system)\n"
              "└─ host-1 \"Studio 1\" (host)  warning: disk full\n"
              "   └─ cpu0  ok\n"
              "         Load: 12.5\n");
}

TEST(TreeDrawingTest, ShowsPropertiesWhenToldTo) {
    EXPECT_EQ(drawn(test::treeOf("host-1", "").sub_devices(0), Details::StatusesAndProperties),
              "host-1 \"Studio 1\" (host)  warning\n"
              "└─ cpu0  ok\n"
              "      Load: 12.5\n"
              "      Serial = A-1\n");
}

TEST(TreeDrawingTest, BranchesGoOnBesideWhatIsBelow) {
    DeviceNode root;
    root.set_id("r");
    DeviceNode& first = *root.add_sub_devices();
    first.set_id("a");
    addStatus(first, "s", NamedStatus::TEXT).set_text_value("x");
    first.add_sub_devices()->set_id("a1");
    root.add_sub_devices()->set_id("b");
    EXPECT_EQ(drawn(root),
              "r\n"
              "├─ a\n"
              "│  │  s: x\n"
              "│  └─ a1\n"
              "└─ b\n");
}

TEST(TreeDrawingTest, ShowsValuesOfEveryType) {
    DeviceNode root;
    root.set_id("r");
    addStatus(root, "text", NamedStatus::TEXT).set_text_value("on");
    addStatus(root, "signed", NamedStatus::SIGNED).set_signed_value(-5);
    addStatus(root, "unsigned", NamedStatus::UNSIGNED).set_unsigned_value(18446744073709551615U);
    addStatus(root, "double", NamedStatus::DOUBLE).set_double_value(0.1);
    EXPECT_EQ(drawn(root),
              "r\n"
              "   text: on\n"
              "   signed: -5\n"
              "   unsigned: 18446744073709551615\n"
              "   double: 0.1\n");
}

TEST(TreeDrawingTest, LevelsHaveColours) {
    DeviceNode node;
    node.set_id("r");
    const auto withLevel = [&](GlobalStatus::Level level) {
        node.mutable_global_status()->set_level(level);
        node.mutable_global_status()->set_description("d");
        return drawn(node, Details::Statuses, Colours::On);
    };
    EXPECT_EQ(withLevel(GlobalStatus::OK), "\x1b[1mr\x1b[0m  \x1b[32mok: d\x1b[0m\n");
    EXPECT_EQ(withLevel(GlobalStatus::WARNING), "\x1b[1mr\x1b[0m  \x1b[33mwarning: d\x1b[0m\n");
    EXPECT_EQ(withLevel(GlobalStatus::ERROR), "\x1b[1mr\x1b[0m  \x1b[31merror: d\x1b[0m\n");
    EXPECT_EQ(withLevel(GlobalStatus::UNKNOWN), "\x1b[1mr\x1b[0m  \x1b[2munknown: d\x1b[0m\n");
}

TEST(TreeDrawingTest, WhatDevicesSayIsEscaped) {
    DeviceNode node;
    node.set_id("\x1b]0;x\x07");
    node.set_name("\x1b[2J\n");
    node.mutable_global_status()->set_description("\x1b[31m");
    addStatus(node, "\x1b", NamedStatus::TEXT).set_text_value("\xff\r");
    auto& property = *node.add_properties();
    property.set_name("\x1b");
    property.set_value("\x9b");
    const auto text = drawn(node, Details::StatusesAndProperties);
    EXPECT_EQ(text.find_first_of("\x1b\x07\r\xff"), std::string::npos) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

}  // namespace tarn::cli
