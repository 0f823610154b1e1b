#include "peers/ingest_service/IngestDescription.h"

#include <gtest/gtest.h>

#include "platform/device_tree/DeviceNode.h"

namespace tarn::peers::ingest_service {
namespace {

using Level = device_tree::GlobalStatus::Level;

ChannelReport channel(unsigned number, const std::string& signal, const std::string& problem = "") {
    return {.channel = {number, 0}, .signal = signal, .problem = problem};
}

device_tree::GlobalStatus healthOf(const std::vector<ChannelReport>& reports) {
    return describeIngest(4711, CaptureFormat(), reports)->getGlobalStatus();
}

TEST(IngestDescriptionTest, IsWellWhenAllItsChannelsAre) {
    EXPECT_EQ(healthOf({}).level, Level::Ok);
    EXPECT_EQ(healthOf({channel(0, "locked"), channel(1, "test picture")}).level, Level::Ok);
}

TEST(IngestDescriptionTest, IsAsWellAsTheWorstOfItsChannels) {
    const auto waiting = healthOf({channel(0, "locked"), channel(1, "waiting")});
    EXPECT_EQ(waiting.level, Level::Warning);
    EXPECT_EQ(waiting.description, "channel 1: no frame has come yet");
    const auto lost =
        healthOf({channel(0, "waiting"), channel(3, "lost", "busy"), channel(4, "lost", "gone")});
    EXPECT_EQ(lost.level, Level::Error);
    EXPECT_EQ(lost.description, "channel 3: no signal: busy");
}

TEST(IngestDescriptionTest, TellsWhatReadersOfAChannelGet) {
    auto report = channel(2, "lost", "busy");
    report.shown = "black";
    report.replaced = 17;
    report.losses = 3;
    const auto node = describeIngest(4711, CaptureFormat(), {report})
                          ->getDeviceById("KLN-SDI-Ingest-Service.channel.2");
    ASSERT_TRUE(node);
    EXPECT_EQ(node->getGlobalStatus(), device_tree::GlobalStatus(Level::Error, "no signal: busy"));
    EXPECT_EQ(std::get<std::string>(node->getStatus("Shown")->getValue()), "black");
    EXPECT_EQ(std::get<std::uint64_t>(node->getStatus("FramesReplaced")->getValue()), 17U);
    EXPECT_EQ(std::get<std::uint64_t>(node->getStatus("SignalLosses")->getValue()), 3U);
}

}  // namespace
}  // namespace tarn::peers::ingest_service
