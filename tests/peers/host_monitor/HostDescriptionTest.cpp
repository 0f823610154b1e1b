#include "peers/host_monitor/HostDescription.h"

#include <gtest/gtest.h>

#include "platform/device_tree/EventHelper.h"
#include "proto/monitoring.pb.h"

namespace tarn::peers::host_monitor {
namespace {

using namespace std::chrono_literals;
using Level = tarn::device_tree::GlobalStatus::Level;
using Node = tarn::device_tree::DeviceNode;
using Event = tarn::proto::monitoring::DeviceToTarnServiceEvent;

struct HostDescriptionTest : testing::Test {
    HostDescription description{"box"};
    HostReading reading;

    HostDescriptionTest() {
        reading.kernel = "6.1";
        reading.processors = {{allProcessors, {100, 100}}, {0, {100, 100}}};
        reading.memory = MemoryInfo{.total = 1'000'000, .available = 500'000};
        reading.disks = {{.mount = {.source = "/dev/sda", .point = "/data", .type = "ext4"},
                          .space = {.size = 1'000'000, .used = 500'000, .free = 500'000}}};
        reading.interfaces["eth0"].state = "up";
        reading.interfaces["eth0"].hasCarrier = true;
        reading.temperatures = {
            {.id = "hwmon0.temp1", .name = "chip", .degrees = 40, .high = {}, .critical = {}}};
    }

    std::shared_ptr<Node> describeNext() {
        reading.time += 1s;
        return description.describe(reading);
    }

    template <typename Value>
    static Value valueOf(const Node& host, const std::string& id, const std::string& name) {
        const auto node = host.getDeviceById(id);
        const auto* const status = node ? node->getStatus(name) : nullptr;
        if (status == nullptr) {
            ADD_FAILURE() << id << " " << name << " is missing";
            return {};
        }
        return std::get<Value>(status->getValue());
    }

    static Event::Type changeBetween(const std::shared_ptr<Node>& before,
                                     const std::shared_ptr<Node>& after) {
        Event event;
        tarn::device_tree::utils::EventHelper::ComputeEvent(before, after, event);
        return event.type();
    }
};

TEST_F(HostDescriptionTest, HasADeviceForEveryPart) {
    const auto host = describeNext();
    EXPECT_EQ(host->getId(), "Host-box");
    EXPECT_EQ(host->getName(), "box");
    EXPECT_EQ(host->getDeviceClass(), tarn::device_tree::DeviceClass::Host);
    EXPECT_EQ(host->getProperty("Kernel")->value, "6.1");
    for (const char* id : {"Host-box.processor.0", "Host-box.memory", "Host-box.disk./data",
                           "Host-box.network.eth0", "Host-box.temperature.hwmon0.temp1"}) {
        EXPECT_TRUE(host->getDeviceById(id)) << id;
    }
    EXPECT_EQ(host->size(), 6U);
    EXPECT_EQ(host->getGlobalStatus().level, Level::Ok);
}

TEST_F(HostDescriptionTest, EveryPartTellsItsValues) {
    reading.interfaces["eth0"].counters.receiveErrors = 3;
    reading.interfaces["eth0"].counters.sendErrors = 4;
    const auto host = describeNext();
    EXPECT_DOUBLE_EQ(valueOf<double>(*host, "Host-box", "Load"), 50);
    EXPECT_EQ(valueOf<std::uint64_t>(*host, "Host-box.memory", "Total"), 1'000'000U);
    EXPECT_EQ(valueOf<std::uint64_t>(*host, "Host-box.memory", "Available"), 500'000U);
    EXPECT_DOUBLE_EQ(valueOf<double>(*host, "Host-box.memory", "Used"), 50);
    const auto disk = host->getDeviceById("Host-box.disk./data");
    EXPECT_EQ(disk->getName(), "Disk /data");
    EXPECT_EQ(disk->getProperty("Device")->value, "/dev/sda");
    EXPECT_EQ(disk->getProperty("FileSystem")->value, "ext4");
    EXPECT_EQ(valueOf<std::uint64_t>(*host, disk->getId(), "Size"), 1'000'000U);
    EXPECT_EQ(valueOf<std::uint64_t>(*host, disk->getId(), "Free"), 500'000U);
    EXPECT_DOUBLE_EQ(valueOf<double>(*host, disk->getId(), "Used"), 50);
    EXPECT_EQ(valueOf<std::string>(*host, "Host-box.network.eth0", "State"), "up");
    EXPECT_EQ(valueOf<std::uint64_t>(*host, "Host-box.network.eth0", "ReceiveErrors"), 3U);
    EXPECT_EQ(valueOf<std::uint64_t>(*host, "Host-box.network.eth0", "SendErrors"), 4U);
    EXPECT_DOUBLE_EQ(valueOf<double>(*host, "Host-box.temperature.hwmon0.temp1", "Degrees"), 40);
    for (const auto& part : host->getSubDevices()) {
        EXPECT_EQ(part.getGlobalStatus().level, Level::Ok) << part.getId();
    }
}

TEST_F(HostDescriptionTest, TwoLooksAtTheSameMomentAreNoRate) {
    describeNext();
    reading.interfaces["eth0"].counters.receivedBytes = 2000;
    const auto host = description.describe(reading);
    EXPECT_EQ(valueOf<std::uint64_t>(*host, "Host-box.network.eth0", "ReceivedPerSecond"), 0U);
}

TEST_F(HostDescriptionTest, TheFirstLoadIsThatSinceTheStartThenThatSinceTheLastLook) {
    EXPECT_DOUBLE_EQ(valueOf<double>(*describeNext(), "Host-box.processor.0", "Load"), 50);
    reading.processors[0] = {175, 125};
    EXPECT_DOUBLE_EQ(valueOf<double>(*describeNext(), "Host-box.processor.0", "Load"), 75);
}

TEST_F(HostDescriptionTest, RatesAreBytesASecond) {
    auto host = describeNext();
    EXPECT_EQ(valueOf<std::uint64_t>(*host, "Host-box.network.eth0", "ReceivedPerSecond"), 0U);
    reading.interfaces["eth0"].counters.receivedBytes = 2000;
    reading.interfaces["eth0"].counters.sentBytes = 500;
    reading.time += 1s;
    host = describeNext();
    EXPECT_EQ(valueOf<std::uint64_t>(*host, "Host-box.network.eth0", "ReceivedPerSecond"), 1000U);
    EXPECT_EQ(valueOf<std::uint64_t>(*host, "Host-box.network.eth0", "SentPerSecond"), 250U);
}

TEST_F(HostDescriptionTest, CountersThatStartAnewAreNoRate) {
    reading.interfaces["eth0"].counters.receivedBytes = 2000;
    describeNext();
    reading.interfaces["eth0"].counters.receivedBytes = 10;
    EXPECT_EQ(valueOf<std::uint64_t>(*describeNext(), "Host-box.network.eth0", "ReceivedPerSecond"),
              0U);
}

TEST_F(HostDescriptionTest, NoiseIsNoChange) {
    describeNext();
    reading.memory->available = 500'100;
    reading.disks[0].space.used = 499'900;
    reading.disks[0].space.free = 500'100;
    reading.processors[0] = {200, 200};
    reading.processors[allProcessors] = {200, 200};
    const auto before = describeNext();
    reading.memory->available += 300;
    reading.disks[0].space.used -= 300;
    reading.disks[0].space.free += 300;
    reading.temperatures[0].degrees = 40.2;
    reading.processors[0] = {10'200, 10'201};
    reading.processors[allProcessors] = {10'200, 10'201};
    const auto after = describeNext();
    EXPECT_EQ(*after, *before) << before->debugString(0) << after->debugString(0);
}

TEST_F(HostDescriptionTest, AnotherValueIsAStatusChange) {
    const auto before = describeNext();
    reading.memory->available = 400'000;
    EXPECT_EQ(changeBetween(before, describeNext()), Event::STATUS_CHANGE);
}

TEST_F(HostDescriptionTest, APartThatComesOrGoesIsAConfigurationChange) {
    const auto first = describeNext();
    reading.interfaces["eth1"].state = "up";
    const auto second = describeNext();
    EXPECT_EQ(changeBetween(first, second), Event::CONFIGURATION_CHANGE);
    reading.disks.clear();
    EXPECT_EQ(changeBetween(second, describeNext()), Event::CONFIGURATION_CHANGE);
}

TEST_F(HostDescriptionTest, TheHostIsAsWellAsItsWorstPart) {
    reading.disks[0].space = {.size = 1000, .used = 980, .free = 20};
    const auto host = describeNext();
    EXPECT_EQ(host->getDeviceById("Host-box.disk./data")->getGlobalStatus().level, Level::Error);
    EXPECT_EQ(host->getGlobalStatus().level, Level::Error);
    EXPECT_EQ(host->getGlobalStatus().description, "Disk /data: Almost full: over 97 % used");
}

TEST_F(HostDescriptionTest, ALinkThatIsLostIsAWarningUntilTheInterfaceHasGone) {
    const auto levelOf = [](const Node& host) {
        return host.getDeviceById("Host-box.network.eth0")->getGlobalStatus().level;
    };
    EXPECT_EQ(levelOf(*describeNext()), Level::Ok);
    reading.interfaces["eth0"].state = "down";
    reading.interfaces["eth0"].hasCarrier = false;
    EXPECT_EQ(levelOf(*describeNext()), Level::Warning);

    const auto down = reading.interfaces;
    reading.interfaces.clear();
    describeNext();
    reading.interfaces = down;
    EXPECT_EQ(levelOf(*describeNext()), Level::Ok);
}

TEST_F(HostDescriptionTest, AMachineThatTellsNothingIsStillADevice) {
    reading = {};
    const auto host = describeNext();
    EXPECT_EQ(host->size(), 1U);
    EXPECT_EQ(host->getGlobalStatus().level, Level::Ok);
}

}  // namespace
}  // namespace tarn::peers::host_monitor
