// A disk that fails: what it costs, who is told, and that everybody else goes on.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "tests/peers/loop_storage/support/FaultyDisk.h"
#include "tests/peers/loop_storage/support/ServerInProcess.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/TestTrack.h"
#include "tests/support/Eventually.h"
#include "tests/support/LogCapture.h"

namespace tarn::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Operation = FaultyDisk::Operation;
using peers::loop_storage::Track;

constexpr std::uint64_t ringSize = 1'000'000;
constexpr std::size_t frameSize = 10'000;

std::string frameOf(std::int64_t timePoint) {
    return std::string(frameSize, static_cast<char>('a' + timePoint));
}

TEST(TrackErrorsTest, AFrameThatCannotBeReadIsToldCountedAndPassedOver) {
    FaultyDisk disk;
    TestTrack track(ringSize);
    track.beWriter();
    for (int i = 0; i < 3; ++i) {
        track.put(i, frameOf(i));
    }
    disk.fail(Operation::Read, "data.0", EIO, frameSize + 512, 512);
    std::vector<char> bytes;
    EXPECT_EQ(track->read(0, bytes).result, Track::ReadResult::Frame);
    const auto lost = track->read(1, bytes);
    EXPECT_EQ(lost.result, Track::ReadResult::Unreadable);
    EXPECT_EQ(lost.frame.timePoint, 1);
    EXPECT_EQ(lost.next, 2U);
    EXPECT_THAT(lost.failure, HasSubstr("data.0: Input/output error"));
    EXPECT_EQ(track->read(2, bytes).result, Track::ReadResult::Frame);
    EXPECT_EQ(track->describe().errors, 1U);
    disk.mend();
    EXPECT_EQ(track->read(1, bytes).result, Track::ReadResult::Frame);
    EXPECT_EQ(track->describe().errors, 1U);
}

TEST(TrackErrorsTest, WhateverFailsIsCounted) {
    const LogCapture log;
    FaultyDisk disk;
    TestTrack track(ringSize);
    disk.fail(Operation::Open, "data.0", EIO);
    EXPECT_THROW(track->attach(Track::WorkerKind::Reader), std::system_error);
    EXPECT_EQ(track->describe().errors, 1U);
    disk.mend();
    track.beWriter();
    disk.fail(Operation::Write, "data.0", EIO);
    EXPECT_THROW(track.put(1, "frame"), std::system_error);
    EXPECT_EQ(track->describe().errors, 2U);
    disk.mend();
    disk.fail(Operation::Sync, "properties", EIO);
    EXPECT_THROW(track->setProperties({{"Name", "studio"}}), std::system_error);
    EXPECT_EQ(track->describe().errors, 3U);
    disk.mend();
    disk.fail(Operation::Write, "index", EIO);
    EXPECT_THROW(track.put(1, "frame"), std::system_error);
    EXPECT_EQ(track->describe().errors, 4U);
    EXPECT_THAT(track->describe().failure, HasSubstr("index: Input/output error"));
    EXPECT_TRUE(log.contains("ERROR Track 7: Cannot open"));
}

struct DiskErrorsTest : testing::Test {
    DiskErrorsTest() {
        control.create(ringSize);
        control.create(ringSize);
        StorageClient writer(server.port());
        EXPECT_TRUE(writer.beWriter(0)) << writer.errorMessage();
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(writer.write(i, frameOf(i)), 0);
        }
        EXPECT_EQ(writer.flush(), 0) << writer.errorMessage();
    }
    ~DiskErrorsTest() override { EXPECT_THAT(control.tracks(), ElementsAre(0, 1)); }

    static void expectFrames(StorageClient& reader, std::int64_t first, std::int64_t last) {
        for (auto i = first; i <= last; ++i) {
            ASSERT_EQ(reader.read(), 1) << reader.errorMessage();
            EXPECT_EQ(reader.timePoint, i);
            EXPECT_EQ(reader.bytes, frameOf(i));
        }
    }
    static void expectUnreadable(StorageClient& reader, std::int64_t timePoint) {
        ASSERT_EQ(reader.read(), -1);
        EXPECT_EQ(reader.errorType(), TARN_STORAGE_ERROR_UNREADABLE);
        EXPECT_EQ(reader.unreadableTimePoint(), timePoint);
        EXPECT_THAT(reader.errorMessage(),
                    HasSubstr("The frame of time point " + std::to_string(timePoint) +
                              " cannot be read: "));
        EXPECT_THAT(reader.errorMessage(), HasSubstr("Input/output error"));
    }
    static void breakSectorOf(FaultyDisk& disk, std::size_t timePoint) {
        disk.fail(Operation::Read, "track-0/data.0", EIO, timePoint * frameSize + 4096, 512);
    }

    FaultyDisk disk;
    ServerInProcess server;
    StorageClient control{server.socketPath()};
};

TEST_F(DiskErrorsTest, AnUnreadableSectorCostsTheFramesOnItAndNothingElse) {
    breakSectorOf(disk, 3);
    breakSectorOf(disk, 4);
    breakSectorOf(disk, 9);
    for (int round = 1; round <= 2; ++round) {
        StorageClient reader(server.port());
        ASSERT_TRUE(reader.beReader(0)) << reader.errorMessage();
        expectFrames(reader, 0, 2);
        expectUnreadable(reader, 3);
        expectUnreadable(reader, 4);
        expectFrames(reader, 5, 8);
        expectUnreadable(reader, 9);
        EXPECT_EQ(reader.read(0), 0) << reader.errorMessage();
        EXPECT_TRUE(eventually([&] { return control.errors(0) == 3 * round; }));
        EXPECT_EQ(control.errors(1), 0);
    }
}

// It has found that the frame is not in memory and asks the server for it.
TEST_F(DiskErrorsTest, AReaderThatReadsTheFileItselfIsToldToo) {
    breakSectorOf(disk, 3);
    StorageClient reader(server.socketPath());
    ASSERT_TRUE(reader.beReader(0)) << reader.errorMessage();
    const auto path = server.trackFolder(0) / "data.0";
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::fdatasync(file), 0);
    ASSERT_EQ(::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED), 0);
    ::close(file);
    expectFrames(reader, 0, 2);
    expectUnreadable(reader, 3);
    expectFrames(reader, 4, 9);
}

TEST_F(DiskErrorsTest, WhoReadsAtTheLiveEdgeIsToldAndGoesOn) {
    StorageClient reader(server.port());
    ASSERT_TRUE(reader.beReader(0, TARN_STORAGE_START_LIVE)) << reader.errorMessage();
    EXPECT_EQ(reader.read(0), 0);
    breakSectorOf(disk, 10);
    StorageClient writer(server.port());
    ASSERT_TRUE(eventually([&] { return writer.beWriter(0); })) << writer.errorMessage();
    ASSERT_EQ(writer.write(10, frameOf(10)), 0);
    expectUnreadable(reader, 10);
    ASSERT_EQ(writer.write(11, frameOf(11)), 0);
    expectFrames(reader, 11, 11);
    EXPECT_EQ(writer.flush(), 0) << writer.errorMessage();
}

TEST_F(DiskErrorsTest, AWriterIsToldAndTheTrackIsThereForTheNextOne) {
    disk.fail(Operation::Write, "track-0/data.0", EIO);
    {
        StorageClient writer(server.port());
        ASSERT_TRUE(eventually([&] { return writer.beWriter(0); })) << writer.errorMessage();
        writer.write(20, frameOf(1));
        EXPECT_EQ(writer.flush(), -1);
        EXPECT_THAT(writer.errorMessage(), HasSubstr("data.0: Input/output error"));
    }
    EXPECT_TRUE(eventually([&] { return control.errors(0) >= 1; }));
    EXPECT_EQ(control.end(0), 9);
    disk.mend();
    StorageClient writer(server.port());
    ASSERT_TRUE(eventually([&] { return writer.beWriter(0); })) << writer.errorMessage();
    EXPECT_EQ(writer.write(20, frameOf(1)), 0);
    EXPECT_EQ(writer.flush(), 0) << writer.errorMessage();
    EXPECT_TRUE(eventually([&] { return control.end(0) == 20; }));
}

TEST_F(DiskErrorsTest, FilesThatCannotBeOpenedAreToldToWhoAttaches) {
    ASSERT_TRUE(eventually([&] { return control.workers().empty(); }));
    disk.fail(Operation::Open, "track-0/data.0", EMFILE);
    StorageClient reader(server.port());
    EXPECT_TRUE(eventually([&] {  // a writer of before may still be closing
        return !StorageClient(server.port()).beReader(0);
    }));
    EXPECT_FALSE(reader.beReader(0));
    EXPECT_THAT(reader.errorMessage(), HasSubstr("data.0: Too many open files"));
    EXPECT_TRUE(eventually([&] { return control.errors(0) >= 1; }));
    disk.mend();
    EXPECT_TRUE(reader.beReader(0)) << reader.errorMessage();
}

}  // namespace
}  // namespace tarn::test
