#include "peers/host_monitor/Health.h"

#include <gtest/gtest.h>

#include "peers/host_monitor/readings/DiskSpace.h"
#include "peers/host_monitor/readings/MemoryInfo.h"
#include "peers/host_monitor/readings/NetworkInterfaces.h"
#include "peers/host_monitor/readings/Temperatures.h"

namespace tarn::peers::host_monitor {
namespace {

using Level = tarn::device_tree::GlobalStatus::Level;

Level diskWith(std::uint64_t used) {
    return healthOf(DiskSpace{.size = 1000, .used = used, .free = 1000 - used}).level;
}

Level memoryWith(std::uint64_t available) {
    return healthOf(MemoryInfo{.total = 1000, .available = available}).level;
}

Level at(double degrees, std::optional<double> high, std::optional<double> critical) {
    return healthOf(
               Temperature{
                   .id = {}, .name = {}, .degrees = degrees, .high = high, .critical = critical})
        .level;
}

TEST(HealthTest, OfADiskByWhatIsUsed) {
    EXPECT_EQ(diskWith(0), Level::Ok);
    EXPECT_EQ(diskWith(900), Level::Ok);
    EXPECT_EQ(diskWith(901), Level::Warning);
    EXPECT_EQ(diskWith(970), Level::Warning);
    EXPECT_EQ(diskWith(971), Level::Error);
    EXPECT_EQ(diskWith(1000), Level::Error);
}

TEST(HealthTest, OfMemoryByWhatIsLeft) {
    EXPECT_EQ(memoryWith(1000), Level::Ok);
    EXPECT_EQ(memoryWith(100), Level::Ok);
    EXPECT_EQ(memoryWith(99), Level::Warning);
    EXPECT_EQ(memoryWith(30), Level::Warning);
    EXPECT_EQ(memoryWith(29), Level::Error);
    EXPECT_EQ(memoryWith(0), Level::Error);
}

TEST(HealthTest, OfATemperatureByItsOwnLimits) {
    EXPECT_EQ(at(79, 80, 90), Level::Ok);
    EXPECT_EQ(at(80, 80, 90), Level::Warning);
    EXPECT_EQ(at(90, 80, 90), Level::Error);
    EXPECT_EQ(at(79, std::nullopt, 90), Level::Ok);
    EXPECT_EQ(at(80, std::nullopt, 90), Level::Warning);
    EXPECT_EQ(at(90, std::nullopt, 90), Level::Error);
    EXPECT_EQ(at(85, 100, 90), Level::Warning) << "a limit above the critical one is none";
    EXPECT_EQ(at(80, 80, std::nullopt), Level::Warning);
    EXPECT_EQ(at(200, std::nullopt, std::nullopt), Level::Ok);
}

Level interfaceThatIs(const std::string& state, NetworkInterface::Kind kind,
                      CarrierHistory history) {
    NetworkInterface interface;
    interface.kind = kind;
    interface.state = state;
    return healthOf(interface, history).level;
}

TEST(HealthTest, OfAnInterfaceOnlyALostLinkIsNews) {
    using Kind = NetworkInterface::Kind;
    EXPECT_EQ(interfaceThatIs("up", Kind::Other, CarrierHistory::Had), Level::Ok);
    EXPECT_EQ(interfaceThatIs("down", Kind::Other, CarrierHistory::Had), Level::Warning);
    EXPECT_EQ(interfaceThatIs("down", Kind::Other, CarrierHistory::Never), Level::Ok);
    EXPECT_EQ(interfaceThatIs("down", Kind::Loopback, CarrierHistory::Had), Level::Ok);
}

TEST(HealthTest, OfTheWholeIsThatOfItsWorstPart) {
    EXPECT_EQ(worstOf({}), healthy());
    EXPECT_EQ(worstOf({{"a", healthy()}, {"b", {Level::Unknown, "?"}}}), healthy());
    const auto worst = worstOf({{"a", {Level::Warning, "so so"}},
                                {"b", {Level::Error, "bad"}},
                                {"c", {Level::Error, "as bad"}}});
    EXPECT_EQ(worst.level, Level::Error);
    EXPECT_EQ(worst.description, "b: bad");
}

}  // namespace
}  // namespace tarn::peers::host_monitor
