// The built plug-in in pipelines of the media library's own program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/peers/loop_storage/support/TlsStorage.h"
#include "tests/support/Eventually.h"
#include "tests/support/Process.h"

namespace tarn::test {
namespace {

using testing::HasSubstr;

const std::string picture =
    "videotestsrc num-buffers=50 ! video/x-raw,width=160,height=120,framerate=25/1";
const std::string encode = " ! x264enc key-int-max=10 speed-preset=ultrafast";

struct StorageElementsTest : testing::Test {
    StorageElementsTest() { control.create(10'000'000); }

    StorageProgram server;
    StorageClient control{server.socketPath()};

    std::vector<std::string> command(const std::string& pipeline) const {
        return {"bash", "-c", "exec gst-launch-1.0 -v " + pipeline};
    }
    const std::map<std::string, std::string> environment = {
        {"GST_PLUGIN_PATH", STORAGE_PLUGIN_FOLDER},
        {"GST_REGISTRY", (server.place().path() / "registry").string()},
        {"GST_REGISTRY_UPDATE", "yes"}};
    ProcessResult run(const std::string& pipeline) const {
        return runProcess(command(pipeline), environment, std::chrono::seconds(50));
    }
    std::string at() const { return " location=unix:" + server.socketPath() + " track=0"; }
    void record(const std::string& pipeline) {
        const auto result = run(pipeline + " ! tarnstoragesink" + at());
        ASSERT_EQ(result.exitStatus, 0) << result.err << result.out;
    }
    /// Played buffers, as a line each.
    std::string play(const std::string& settings, const std::string& rest) {
        const auto result =
            run("tarnstoragesrc" + at() + settings + rest + " ! fakesink name=end silent=false");
        EXPECT_EQ(result.exitStatus, 0) << result.err << result.out;
        return result.out;
    }
    /// Of each buffer the medium's own flags.
    static std::vector<unsigned long> flagsIn(const std::string& output) {
        constexpr unsigned long mediums = ~((1UL << 20U) - 1);
        std::vector<unsigned long> list;
        const std::string mark = "flags: ";
        for (auto at = output.find(mark); at != std::string::npos; at = output.find(mark, at + 1)) {
            list.push_back(std::stoul(output.substr(at + mark.size(), 8), nullptr, 16) & mediums);
        }
        return list;
    }
    /// What the end was told the stream is.
    static std::string capsIn(const std::string& output) {
        const std::string mark = "GstFakeSink:end.GstPad:sink: caps = ";
        const auto at = output.find(mark);
        return at == std::string::npos ? "none" : output.substr(at, output.find('\n', at) - at);
    }
    static int buffersIn(const std::string& output) {
        int count = 0;
        for (auto at = output.find("chain"); at != std::string::npos;
             at = output.find("chain", at + 1)) {
            ++count;
        }
        return count;
    }
};

TEST_F(StorageElementsTest, EncodedVideoIsRecordedAndPlays) {
    record(picture + encode);
    const auto output = play(" stop-at-end=true", " ! h264parse ! avdec_h264");
    EXPECT_EQ(buffersIn(output), 50);
    EXPECT_THAT(output, HasSubstr("width=(int)160"));
}

TEST_F(StorageElementsTest, TimesAndFlagsAreKept) {
    record(picture + encode);
    const auto output = play(" stop-at-end=true", "");
    EXPECT_THAT(output, HasSubstr("duration: 0:00:00.040000000"));
    EXPECT_THAT(output, HasSubstr("delta-unit"));
}

// Those that say which fields there are, and which is first; "tag-memory" is about memory.
TEST_F(StorageElementsTest, FieldsOfInterlacedVideoAreKept) {
    for (const auto* const pattern : {"1:1", "2:2", "2:3"}) {
        const auto interlaced =
            picture + " ! interlace top-field-first=true field-pattern=" + pattern;
        const auto wanted = run(interlaced + " ! fakesink name=end silent=false").out;
        control.clear(0);
        record(interlaced);
        const auto played = play(" stop-at-end=true", "");
        EXPECT_THAT(flagsIn(played), testing::Not(testing::Contains(0U)));
        EXPECT_EQ(flagsIn(played), flagsIn(wanted)) << pattern;
        EXPECT_EQ(capsIn(played), capsIn(wanted));
        EXPECT_THAT(capsIn(played), HasSubstr("interlace-mode=(string)"));
    }
}

TEST_F(StorageElementsTest, ADurableRecordingIsThereAfterTheServerWasKilled) {
    const auto result = run(picture + encode + " ! tarnstoragesink durable=true" + at());
    ASSERT_EQ(result.exitStatus, 0) << result.err << result.out;
    server.kill();
    server.start();
    EXPECT_EQ(buffersIn(play(" stop-at-end=true", " ! h264parse ! avdec_h264")), 50);
}

TEST_F(StorageElementsTest, ASecondRecordingFollowsTheFirst) {
    record(picture + encode);
    const auto end = control.end(0);
    record(picture + encode);
    EXPECT_GT(control.end(0), end);
    EXPECT_EQ(buffersIn(play(" stop-at-end=true", " ! h264parse ! avdec_h264")), 100);
}

TEST_F(StorageElementsTest, PlayingBeginsAtATimePointWithTheNextFrameThatCanBe) {
    record(picture + encode);
    const auto middle = control.beginning(0) + (control.end(0) - control.beginning(0)) / 2;
    const int count = buffersIn(
        play(" stop-at-end=true start=" + std::to_string(middle), " ! h264parse ! avdec_h264"));
    EXPECT_GE(count, 15);
    EXPECT_LE(count, 26);
}

TEST_F(StorageElementsTest, AnEmptyTrackEndsAtOnce) {
    EXPECT_EQ(buffersIn(play(" stop-at-end=true", "")), 0);
}

// Also the last one, which is where playing ends.
TEST_F(StorageElementsTest, FramesThatTheDiskDoesNotGiveArePassedOver) {
    record(picture + ",format=I420");
    EXPECT_TRUE(eventually([this] { return control.workers().empty(); }));
    std::filesystem::resize_file(server.directory() / "track-0" / "data.0", 1'000'000);
    const int count = buffersIn(play(" stop-at-end=true", ""));
    EXPECT_GE(count, 30);
    EXPECT_LE(count, 40);
    EXPECT_EQ(control.errors(0), 50 - count);
}

// The same of those whose bytes have suffered.
TEST_F(StorageElementsTest, DamagedFramesArePassedOver) {
    record(picture + ",format=I420");
    EXPECT_TRUE(eventually([this] { return control.workers().empty(); }));
    server.kill();
    {
        std::fstream data(server.directory() / "track-0" / "data.0",
                          std::ios::in | std::ios::out | std::ios::binary);
        data.seekp(1'000'000);
        data << std::string(1'000'000, 'x');
    }
    server.start();
    const int count = buffersIn(play(" stop-at-end=true", ""));
    EXPECT_GE(count, 30);
    EXPECT_LE(count, 40);
    EXPECT_EQ(control.damagedFrames(0), 50 - count);
}

TEST_F(StorageElementsTest, TheLiveEdgeIsFollowedFromAnotherProcess) {
    Process player(command("tarnstoragesrc" + at() +
                           " start=live worker-name=follower ! h264parse ! avdec_h264 ! fakesink "
                           "silent=false"),
                   environment);
    ASSERT_TRUE(eventually([&] { return control.workers().size() == 1; }));
    EXPECT_EQ(control.workers().front(), "reader 0 follower");
    record(picture + encode);
    EXPECT_TRUE(player.waitForOut(":00:01.9"));
    player.signal(SIGINT);
    EXPECT_EQ(player.wait().signal, 0);
}

TEST_F(StorageElementsTest, WhatCannotBeIsAnErrorWithItsReason) {
    const auto failure = [&](const std::string& pipeline) {
        const auto result = run(pipeline);
        EXPECT_NE(result.exitStatus, 0);
        return result.err + result.out;
    };
    EXPECT_THAT(failure("tarnstoragesrc location=nowhere track=0 ! fakesink"),
                HasSubstr("'nowhere' is neither unix:PATH nor tcp:HOST:PORT"));
    EXPECT_THAT(failure("videotestsrc ! tarnstoragesink location=unix:/nowhere/s track=0"),
                HasSubstr("Cannot connect to /nowhere/s: No such file or directory"));
    EXPECT_THAT(failure("videotestsrc ! tarnstoragesink location=unix:" + server.socketPath() +
                        " track=77"),
                HasSubstr("There is no track 77"));
    EXPECT_THAT(failure("tarnstoragesrc start=noon" + at() + " ! fakesink"),
                HasSubstr("'noon' is neither oldest, live nor a time point"));
    EXPECT_THAT(
        failure("videotestsrc ! video/x-raw,width=4000,height=4000 ! tarnstoragesink" + at()),
        HasSubstr("is too large"));
}

TEST_F(StorageElementsTest, OverTlsWhatIsRecordedPlaysByWhoeverMay) {
    TlsStorage remote;
    remote.generate("recorder");
    remote.generate("player");
    remote.list(remote.line("operate", "recorder", "1:write") +
                remote.line("read", "player", "1:read"));
    const auto as = [&](const std::string& name) {
        const auto address = remote.as(name);
        return " location=tcp:127.0.0.1:" + std::to_string(address.port) +
               " certificate=" + address.certificate + " fingerprint=" + address.fingerprint;
    };
    const auto recorded = run(picture + encode + " ! tarnstoragesink track=1" + as("recorder"));
    ASSERT_EQ(recorded.exitStatus, 0) << recorded.err << recorded.out;
    const auto played = run("tarnstoragesrc stop-at-end=true track=1" + as("player") +
                            " ! h264parse ! avdec_h264 ! fakesink name=end silent=false");
    EXPECT_EQ(played.exitStatus, 0) << played.err;
    EXPECT_EQ(buffersIn(played.out), 50);
    const auto refused = run(picture + " ! tarnstoragesink track=1" + as("player"));
    EXPECT_NE(refused.exitStatus, 0);
    EXPECT_THAT(refused.err + refused.out, HasSubstr("client player has read"));
    const auto half =
        run("tarnstoragesrc track=1 location=tcp:127.0.0.1:1 certificate=/x ! fakesink");
    EXPECT_THAT(half.err + half.out, HasSubstr("and the server's fingerprint belong together"));
}

TEST_F(StorageElementsTest, OneThatIsEvictedSaysSo) {
    for (const std::string& pipeline : {"videotestsrc is-live=true ! tarnstoragesink" + at(),
                                        "tarnstoragesrc" + at() + " start=live ! fakesink"}) {
        Process evicted(command(pipeline), environment);
        ASSERT_TRUE(eventually([&] { return control.workerIds().size() == 1; })) << pipeline;
        ASSERT_EQ(control.evict(control.workerIds().front()), 0) << control.errorMessage();
        const auto result = evicted.wait();
        EXPECT_NE(result.exitStatus, 0) << pipeline;
        EXPECT_THAT(result.out, HasSubstr("An operator has evicted this worker from its track"))
            << pipeline;
    }
}

TEST_F(StorageElementsTest, AServerThatGoesAwayIsAnError) {
    Process recording(command("videotestsrc is-live=true ! tarnstoragesink" + at()), environment);
    ASSERT_TRUE(eventually([&] { return control.end(0) >= 0; }));
    server.kill();
    EXPECT_NE(recording.wait().exitStatus, 0);
}

}  // namespace
}  // namespace tarn::test
