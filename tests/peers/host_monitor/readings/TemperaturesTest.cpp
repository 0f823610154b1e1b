#include "peers/host_monitor/readings/Temperatures.h"

#include <gtest/gtest.h>

#include "tests/peers/host_monitor/MachineFolder.h"

namespace tarn::peers::host_monitor {
namespace {

struct TemperaturesTest : testing::Test {
    tarn::test::MachineFolder machine;

    void write(const std::string& file, const std::string& content) const {
        machine.write("sys/class/" + file, content + "\n");
    }

    std::vector<Temperature> read() const { return readTemperatures(machine.root()); }
};

TEST_F(TemperaturesTest, AMachineMayHaveNone) {
    EXPECT_TRUE(read().empty());
}

TEST_F(TemperaturesTest, ReadsASensorWithItsLimits) {
    write("hwmon/hwmon1/name", "nvme");
    write("hwmon/hwmon1/temp1_input", "41850");
    write("hwmon/hwmon1/temp1_label", "Composite");
    write("hwmon/hwmon1/temp1_max", "81850");
    write("hwmon/hwmon1/temp1_crit", "84850");
    const auto readings = read();
    ASSERT_EQ(readings.size(), 1U);
    EXPECT_EQ(readings[0].id, "hwmon1.temp1");
    EXPECT_EQ(readings[0].name, "nvme Composite");
    EXPECT_DOUBLE_EQ(readings[0].degrees, 41.85);
    EXPECT_DOUBLE_EQ(readings[0].high.value(), 81.85);
    EXPECT_DOUBLE_EQ(readings[0].critical.value(), 84.85);
}

TEST_F(TemperaturesTest, WhatASensorDoesNotTellIsMissing) {
    write("hwmon/hwmon0/temp3_input", "-5000");
    write("hwmon/hwmon0/temp3_crit", "0");
    const auto readings = read();
    ASSERT_EQ(readings.size(), 1U);
    EXPECT_EQ(readings[0].name, "hwmon0 temp3");
    EXPECT_DOUBLE_EQ(readings[0].degrees, -5);
    EXPECT_FALSE(readings[0].high);
    EXPECT_FALSE(readings[0].critical);
}

TEST_F(TemperaturesTest, NonsenseIsLeftOut) {
    for (const char* content : {"", "x", "-128000", "255000", "1e3", "99999999999999999999"}) {
        write("hwmon/hwmon0/temp1_input", content);
        EXPECT_TRUE(read().empty()) << content;
    }
    write("hwmon/hwmon1/fan1_input", "1000");
    write("hwmon/hwmon2/temp1_input/folder", "1000");
    EXPECT_TRUE(read().empty());
}

TEST_F(TemperaturesTest, WhatIsBetweenTheColdestAndTheHottestIsATemperature) {
    for (const auto& [content, isOne] : {std::pair("-100000", false), std::pair("-99999", true),
                                         std::pair("249999", true), std::pair("250000", false)}) {
        write("hwmon/hwmon0/temp1_input", content);
        EXPECT_EQ(read().size(), isOne ? 1U : 0U) << content;
    }
}

TEST_F(TemperaturesTest, ALongNameIsCut) {
    write("thermal/thermal_zone0/type", std::string(65, 'x'));
    write("thermal/thermal_zone0/temp", "27800");
    EXPECT_EQ(read().at(0).name, std::string(64, 'x'));
}

TEST_F(TemperaturesTest, ReadsAZoneWithItsCriticalPoint) {
    write("thermal/thermal_zone0/type", "acpitz");
    write("thermal/thermal_zone0/temp", "27800");
    write("thermal/thermal_zone0/trip_point_0_type", "passive");
    write("thermal/thermal_zone0/trip_point_0_temp", "80000");
    write("thermal/thermal_zone0/trip_point_1_type", "critical");
    write("thermal/thermal_zone0/trip_point_1_temp", "119000");
    write("thermal/cooling_device0/temp", "1000");
    const auto readings = read();
    ASSERT_EQ(readings.size(), 1U);
    EXPECT_EQ(readings[0].id, "thermal_zone0");
    EXPECT_EQ(readings[0].name, "acpitz");
    EXPECT_DOUBLE_EQ(readings[0].critical.value(), 119);
}

TEST_F(TemperaturesTest, AZoneThatIsASensorTooIsToldOnce) {
    write("hwmon/hwmon0/temp1_input", "27800");
    write("thermal/thermal_zone0/temp", "27800");
    write("thermal/thermal_zone0/hwmon0/temp1_input", "27800");
    EXPECT_EQ(read().size(), 1U);
}

}  // namespace
}  // namespace tarn::peers::host_monitor
