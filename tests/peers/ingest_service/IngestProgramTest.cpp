#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "tests/peers/ingest_service/IngestBed.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::monitoring;
using namespace std::chrono_literals;

class IngestProgramTest : public IngestBed {};

TEST_F(IngestProgramTest, DescribesItsFormatAndItsChannels) {
    start({"--line-count", "576", "--board0-input-list", "2 0", "--board0-input-frameoffset",
           "0 -1"});
    EXPECT_EQ(describe().event_endpoint(), events);
    EXPECT_EQ(property("PID"), std::to_string(ingest->id()));
    EXPECT_EQ(property("PixelFormat"), "uyvy422_8");
    EXPECT_EQ(property("LineCount"), "576");
    EXPECT_EQ(property("FieldMode"), "i");
    EXPECT_EQ(property("FrameRate"), "25");
    EXPECT_EQ(property("ChannelList"), "2 0");
    EXPECT_EQ(property("ChannelFrameOffset"), "0 -1");
    const auto channel = node().getDeviceById("KLN-SDI-Ingest-Service.channel.2");
    ASSERT_TRUE(channel);
    EXPECT_EQ(std::get<std::string>(channel->getStatus("SignalState")->getValue()), "test picture");
    EXPECT_NE(channel->getStatus("FramesDropped"), nullptr);
    EXPECT_EQ(channel->getProperty("SocketPath")->value, prefix + "-channel-2");
}

TEST_F(IngestProgramTest, CountsItsFrames) {
    start({"--line-count", "576"});
    EXPECT_TRUE(eventually([this] { return captured("0") > 20; }));
}

TEST_F(IngestProgramTest, OffersPicturesOfExactlyTheFormat) {
    start({"--pixel-format", "rgb24", "--line-count", "720", "--field-mode", "p", "--frame-rate",
           "50", "--board0-input-list", "0 5", "--board0-input-frameoffset", "0 3"});
    EXPECT_EQ(read("0", 3), 3U * 1280 * 720 * 3);
    EXPECT_EQ(read("5", 1), 1U * 1280 * 720 * 3);
}

TEST_F(IngestProgramTest, AHungReaderDoesNotHoldUpTheEnd) {
    start({"--line-count", "576"});
    Process reader(
        {"gst-launch-1.0", "shmsrc", "socket-path=" + prefix + "-channel-0", "!", "fakesink"});
    ASSERT_TRUE(reader.waitForOut("PLAYING"));
    reader.signal(SIGSTOP);
    const auto before = captured("0");
    ASSERT_TRUE(eventually([&] { return captured("0") > before + 5; }));
    const auto id = ingest->id();
    ingest->signal(SIGTERM);
    EXPECT_EQ(ingest->wait(10s).exitStatus, 0);
    EXPECT_EQ(memoryOf(id), 0U);
    reader.signal(SIGKILL);
}

TEST_F(IngestProgramTest, AChannelGoesOnAfterAReaderThatHung) {
    start({"--line-count", "576"});
    Process reader(
        {"gst-launch-1.0", "shmsrc", "socket-path=" + prefix + "-channel-0", "!", "fakesink"});
    ASSERT_TRUE(reader.waitForOut("PLAYING"));
    reader.signal(SIGSTOP);
    EXPECT_TRUE(ask([] {
                    Request ping;
                    ping.set_type(Request::PING);
                    return ping;
                }())
                    .success());
    reader.signal(SIGKILL);
    reader.wait();
    const auto before = captured("0");
    EXPECT_TRUE(eventually([&] { return captured("0") > before + 10; }));
}

TEST_F(IngestProgramTest, TheStopCommandEndsItAndNothingIsLeft) {
    start({"--line-count", "576", "--board0-input-list", "0 1"});
    EXPECT_EQ(memoryOf(ingest->id()), 2U);
    Request stop;
    stop.set_type(Request::CONTROL);
    stop.MutableExtension(ControlRequest::base)->set_command(ControlRequest::STOP);
    EXPECT_TRUE(ask(stop).success());
    const auto id = ingest->id();
    EXPECT_EQ(ingest->wait().exitStatus, 0);
    EXPECT_THAT(left(), testing::IsEmpty());
    EXPECT_EQ(memoryOf(id), 0U);
}

TEST_F(IngestProgramTest, ASignalEndsItAndNothingIsLeft) {
    for (const int signal : {SIGTERM, SIGINT}) {
        start({"--line-count", "576"});
        const auto id = ingest->id();
        ingest->signal(signal);
        EXPECT_EQ(ingest->wait().exitStatus, 0);
        EXPECT_THAT(left(), testing::IsEmpty());
        EXPECT_EQ(memoryOf(id), 0U);
    }
}

TEST_F(IngestProgramTest, WhatAKilledOneLeftIsRemovedByTheNext) {
    start({"--line-count", "576", "--board0-input-list", "0 1"});
    const auto killed = ingest->id();
    ingest->signal(SIGKILL);
    ingest->wait();
    EXPECT_EQ(memoryOf(killed), 2U);
    start({"--line-count", "576", "--board0-input-list", "7"});
    EXPECT_EQ(memoryOf(killed), 0U);
    EXPECT_FALSE(std::filesystem::exists(prefix + "-channel-0"));
    EXPECT_FALSE(std::filesystem::exists(prefix + "-channel-1"));
    ingest->signal(SIGTERM);
    EXPECT_EQ(ingest->wait().exitStatus, 0);
    EXPECT_THAT(left(), testing::IsEmpty());
}

TEST_F(IngestProgramTest, ASecondOneEndsWithAMessageAndDisturbsNothing) {
    start({"--line-count", "576"});
    const auto second = runProcess(command({"--line-count", "576"}));
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_THAT(second.err, testing::HasSubstr("another one is running"));
    EXPECT_EQ(read("0", 1), 720U * 576 * 2);
}

TEST_F(IngestProgramTest, AnEndpointThatIsTakenEndsItAndNothingOfItIsLeft) {
    start({"--line-count", "576"});
    auto words = command({"--line-count", "576"});
    *(std::find(words.begin(), words.end(), prefix)) = prefix + "2";
    const auto second = runProcess(words);
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_THAT(second.err, testing::HasSubstr("cannot listen on " + endpoint));
    EXPECT_FALSE(std::filesystem::exists(prefix + "2-channel-0"));
    EXPECT_FALSE(std::filesystem::exists(prefix + "2.run"));
}

TEST_F(IngestProgramTest, AFormatThatDoesNotExistIsRefusedWithAMessage) {
    const auto result = runProcess(command({"--frame-rate", "60"}));
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.err, "KLN-SDI-Ingest-Service: there is no capture format 1080i60\n");
}

}  // namespace
}  // namespace tarn::test
