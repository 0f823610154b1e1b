#include "platform/device_tree/DeviceLimits.h"

#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/device_tree/DeviceOutline.h"
#include "platform/device_tree/EventHelper.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {
namespace {

using namespace tarn::proto;
using Event = monitoring::DeviceToTarnServiceEvent;
using Extent = utils::EventHelper::Extent;

std::shared_ptr<DeviceNode> deviceOf(unsigned levels) {
    auto device =
        std::make_shared<DeviceNode>("level" + std::to_string(levels), "Box", DeviceClass::Capture);
    for (unsigned level = levels - 1; level > 0; --level) {
        auto outer = std::make_shared<DeviceNode>("level" + std::to_string(level), "Box",
                                                  DeviceClass::Capture);
        std::string error;
        outer->addSubDevice(device, /*replace=*/true, error);
        device = outer;
    }
    return device;
}

std::shared_ptr<DeviceNode> deviceOfBytes(std::size_t bytes) {
    auto device = std::make_shared<DeviceNode>("large", "Large box", DeviceClass::Host);
    device->addProperty(Property("padding", Property::Type::Text, std::string(bytes, 'x')));
    return device;
}

Event addEvent(const std::shared_ptr<DeviceNode>& device) {
    Event event;
    EXPECT_TRUE(utils::EventHelper::ComputeEvent(nullptr, device, event));
    return event;
}

Event changeEventWithEverything() {
    auto device = deviceOf(3);
    device->addProperty(Property("colour", Property::Type::Text, "red"));
    device->addStatus(NamedStatus("value", 1.5));
    device->setGlobalStatus({GlobalStatus::Level::Ok, "fine"});
    Event event;
    EXPECT_TRUE(utils::EventHelper::ComputeEvent(deviceOf(1), device, event));
    return event;
}

unsigned levelsOf(const monitoring::DeviceNode& device) {
    unsigned below = 0;
    for (const auto& part : device.sub_devices()) {
        below = std::max(below, levelsOf(part));
    }
    return below + 1;
}

DeviceOutline outlineOfAdd(unsigned levels) {
    return outlineOfEvent(addEvent(deviceOf(levels)).SerializeAsString());
}

struct DeviceLimitsTest : testing::Test {
    Event event;

    bool compute(const std::shared_ptr<DeviceNode>& before, std::shared_ptr<DeviceNode>& after,
                 Extent extent = Extent::Difference) {
        return utils::EventHelper::ComputeEventWithinLimits(before, after, extent, event);
    }
};

TEST_F(DeviceLimitsTest, AnEventShowsTheDeviceThatItIsAbout) {
    const auto outline = outlineOfAdd(3);
    EXPECT_EQ(outline.kind, DeviceOutline::Kind::Whole);
    EXPECT_EQ(outline.id, "level1");
    EXPECT_EQ(outline.name, "Box");
    EXPECT_EQ(outline.deviceClass, DeviceClass::Capture);
    EXPECT_EQ(outline.levels, 3U);
}

TEST_F(DeviceLimitsTest, LevelsAreCountedUpToOneTooMany) {
    EXPECT_EQ(outlineOfAdd(1).levels, 1U);
    EXPECT_EQ(outlineOfAdd(64).levels, 64U);
    EXPECT_EQ(outlineOfAdd(65).levels, 65U);
    EXPECT_EQ(outlineOfAdd(97).levels, 65U);
}

TEST_F(DeviceLimitsTest, TheDeepestOfTheSubDevicesCounts) {
    auto device = deviceOf(2);
    std::string error;
    device->addSubDevice(deviceOf(70), /*replace=*/false, error);
    const DeviceNode shallow("z", "last", DeviceClass::Generic);
    device->addSubDevice(std::make_shared<DeviceNode>(shallow), /*replace=*/false, error);
    EXPECT_EQ(outlineOfEvent(addEvent(device).SerializeAsString()).levels, 65U);
}

// The parser merges what is there twice.
TEST_F(DeviceLimitsTest, ADeviceThatComesInTwoPartsIsSeenWhole) {
    const auto bytes =
        addEvent(deviceOf(70)).SerializeAsString() + addEvent(deviceOfBytes(1)).SerializeAsString();
    const auto outline = outlineOfEvent(bytes);
    EXPECT_EQ(outline.id, "large");
    EXPECT_EQ(outline.levels, 65U);
}

TEST_F(DeviceLimitsTest, AReplyShowsTheDeviceThatItDescribes) {
    monitoring::DeviceToTarnServiceReply reply;
    EXPECT_EQ(outlineOfReply(reply.SerializeAsString()).kind, DeviceOutline::Kind::None);
    *reply.MutableExtension(monitoring::GetDescriptionReply::base)->mutable_device() =
        deviceOf(5)->toProtoBuf();
    const auto outline = outlineOfReply(reply.SerializeAsString());
    EXPECT_EQ(outline.id, "level1");
    EXPECT_EQ(outline.levels, 5U);
}

TEST_F(DeviceLimitsTest, AStatusChangeShowsTheFirstNode) {
    event.set_type(Event::STATUS_CHANGE);
    auto& changes = *event.MutableExtension(monitoring::StatusChangeEvent::base);
    changes.add_named_status_changes()->set_device_id("second");
    changes.add_global_status_changes()->set_device_id("first");
    const auto outline = outlineOfEvent(event.SerializeAsString());
    EXPECT_EQ(outline.kind, DeviceOutline::Kind::Statuses);
    EXPECT_EQ(outline.id, "first");
    EXPECT_EQ(outline.levels, 0U);
}

TEST_F(DeviceLimitsTest, OfBytesThatAreNoEventShowsWhatComesBefore) {
    EXPECT_EQ(outlineOfEvent("").kind, DeviceOutline::Kind::None);
    EXPECT_EQ(outlineOfEvent("\xff\xff\xff").kind, DeviceOutline::Kind::None);
    const auto bytes = addEvent(deviceOf(40)).SerializeAsString();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_EQ(outlineOfEvent(bytes.substr(0, length)).id, "") << length;
    }
}

// Whatever gets past the door is what the parser then reads.
TEST_F(DeviceLimitsTest, BytesThatParseHaveTheOutlineOfWhatIsParsed) {
    const google::protobuf::LogSilencer quiet;  // of text that is no text
    const auto good = changeEventWithEverything().SerializeAsString();
    std::mt19937 random(5);
    int parsed = 0;
    for (int round = 0; round < 20'000; ++round) {
        auto bytes = good;
        for (auto changes = 1 + random() % 3; changes > 0; --changes) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        Event read;
        if (!read.ParsePartialFromString(bytes) ||
            !read.GetExtension(monitoring::ConfigurationChangeEvent::base).has_device()) {
            continue;
        }
        ++parsed;
        const auto& device = read.GetExtension(monitoring::ConfigurationChangeEvent::base).device();
        const auto outline = outlineOfEvent(bytes);
        ASSERT_EQ(outline.id, device.id());
        ASSERT_EQ(outline.name, device.name());
        ASSERT_EQ(static_cast<int>(outline.deviceClass), device.device_class());
        ASSERT_EQ(outline.levels, levelsOf(device));
    }
    EXPECT_GT(parsed, 1000);
}

TEST_F(DeviceLimitsTest, ADeviceWithinTheLimitsIsToldAsItIs) {
    auto device = deviceOf(64);
    EXPECT_TRUE(compute(nullptr, device));
    EXPECT_EQ(event.type(), Event::DEVICE_ADD);
    EXPECT_TRUE(*device == *deviceOf(64));
    EXPECT_FALSE(compute(device, device));
}

TEST_F(DeviceLimitsTest, ADeviceThatIsTooDeepIsToldAsOneInError) {
    auto device = deviceOf(65);
    EXPECT_TRUE(compute(deviceOf(2), device));
    EXPECT_EQ(event.type(), Event::CONFIGURATION_CHANGE);
    EXPECT_EQ(device->size(), 1U);
    EXPECT_EQ(device->getId(), "level1");
    EXPECT_EQ(device->getName(), "Box");
    EXPECT_EQ(device->getDeviceClass(), DeviceClass::Capture);
    EXPECT_EQ(device->getGlobalStatus(),
              GlobalStatus(GlobalStatus::Level::Error, "Refused: more than 64 levels deep"));
    EXPECT_TRUE(
        DeviceNode(event.GetExtension(monitoring::ConfigurationChangeEvent::base).device()) ==
        *device);
}

TEST_F(DeviceLimitsTest, ADeviceThatIsTooLargeIsToldAsOneInError) {
    auto device = deviceOfBytes(largestEvent);
    EXPECT_TRUE(compute(nullptr, device));
    EXPECT_EQ(event.type(), Event::DEVICE_ADD);
    EXPECT_EQ(device->getGlobalStatus().description, "Refused: event of more than 8388608 bytes");
    EXPECT_LT(event.ByteSizeLong(), 200U);
}

TEST_F(DeviceLimitsTest, ADeviceThatStaysRefusedIsToldOnce) {
    auto before = deviceOf(65);
    EXPECT_TRUE(compute(nullptr, before));
    auto after = deviceOf(80);
    EXPECT_FALSE(compute(before, after));
    after = deviceOf(2);
    EXPECT_TRUE(compute(before, after));
    EXPECT_TRUE(*after == *deviceOf(2));
}

TEST_F(DeviceLimitsTest, WhereManyStatusesChangeTheWholeDeviceMayBeLess) {
    const auto withStatuses = [](std::int64_t value) {
        DeviceNode device(std::string(3000, 'i'), "", DeviceClass::Generic);
        for (int n = 0; n < 3000; ++n) {
            device.addStatus(NamedStatus(std::to_string(n), value));
        }
        return std::make_shared<DeviceNode>(device);
    };
    auto after = withStatuses(2);
    EXPECT_TRUE(compute(withStatuses(1), after));
    EXPECT_EQ(event.type(), Event::CONFIGURATION_CHANGE);
    EXPECT_TRUE(*after == *withStatuses(2));
}

TEST_F(DeviceLimitsTest, AllOfADeviceIsToldAlsoWhenNothingDiffers) {
    auto device = deviceOf(2);
    EXPECT_TRUE(compute(device, device, Extent::Whole));
    EXPECT_EQ(event.type(), Event::CONFIGURATION_CHANGE);
    EXPECT_TRUE(compute(nullptr, device, Extent::Whole));
    EXPECT_EQ(event.type(), Event::DEVICE_ADD);
    std::shared_ptr<DeviceNode> gone;
    EXPECT_TRUE(compute(device, gone, Extent::Whole));
    EXPECT_EQ(event.type(), Event::DEVICE_REMOVE);
}

TEST_F(DeviceLimitsTest, WhatStandsForADeviceIsSmallWhateverItsName) {
    const DeviceOutline outline{.id = std::string(10'000'000, 'i'),
                                .name = std::string(10'000'000, 'n')};
    EXPECT_LT(refusedDevice(outline, "too much").toProtoBuf().ByteSizeLong(), 1000U);
}

TEST(DeviceLimitsTextTest, OfALongNameTheBeginningIsShown) {
    const std::string longName(300, 'x');
    const DeviceNode device("i" + longName, "n" + longName, DeviceClass::Host);
    const auto shown = refusedDevice(outlineOf(device), "why");
    EXPECT_EQ(shown.getId(), "i" + std::string(255, 'x'));
    EXPECT_EQ(shown.getName(), "n" + std::string(255, 'x'));
    EXPECT_EQ(shown.getDeviceClass(), DeviceClass::Host);
}

}  // namespace
}  // namespace tarn::device_tree
