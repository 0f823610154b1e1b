#include "peers/host_monitor/readings/HostReader.h"

#include <gtest/gtest.h>

#include "tests/peers/host_monitor/MachineFolder.h"

namespace tarn::peers::host_monitor {
namespace {

const std::chrono::steady_clock::time_point now{};

TEST(HostReaderTest, AMachineThatTellsNothingIsEmpty) {
    const tarn::test::MachineFolder machine;
    const auto reading = HostReader(machine.root()).read(now);
    EXPECT_TRUE(reading.processors.empty());
    EXPECT_FALSE(reading.memory);
    EXPECT_TRUE(reading.disks.empty());
    EXPECT_TRUE(reading.interfaces.empty());
    EXPECT_TRUE(reading.temperatures.empty());
}

TEST(HostReaderTest, ReadsEveryPart) {
    const tarn::test::MachineFolder machine;
    machine.write("proc/stat", "cpu 1 2 3 4\ncpu0 1 2 3 4\n");
    machine.write("proc/meminfo", "MemTotal: 4 kB\nMemAvailable: 2 kB\n");
    machine.write("proc/net/dev", "eth0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n");
    machine.write("proc/self/mounts", "/dev/sda1 /data ext4 rw 0 0\n/dev/sdb1 /gone ext4 rw 0 0\n");
    machine.write("proc/sys/kernel/osrelease", "6.1.0-18-amd64\n");
    machine.write("data/file", "");
    machine.write("sys/class/hwmon/hwmon0/temp1_input", "40000\n");
    const auto reading = HostReader(machine.root()).read(now);
    EXPECT_EQ(reading.processors.size(), 2U);
    EXPECT_TRUE(reading.memory);
    ASSERT_EQ(reading.disks.size(), 1U);
    EXPECT_EQ(reading.disks[0].mount.point, "/data");
    EXPECT_EQ(reading.interfaces.count("eth0"), 1U);
    EXPECT_EQ(reading.temperatures.size(), 1U);
    EXPECT_EQ(reading.kernel, "6.1.0-18-amd64");
}

TEST(HostReaderTest, ReadsThisMachine) {
    const auto reading = HostReader("/").read(now);
    EXPECT_GE(reading.processors.size(), 2U);
    EXPECT_TRUE(reading.memory);
    EXPECT_FALSE(reading.kernel.empty());
}

}  // namespace
}  // namespace tarn::peers::host_monitor
