// A disk that is slow, or does not answer at all: whose track lies there waits, and nobody else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <vector>

#include "tests/peers/loop_storage/support/FaultyDisk.h"
#include "tests/peers/loop_storage/support/ServerInProcess.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using testing::SizeIs;
using Operation = FaultyDisk::Operation;

constexpr std::uint64_t ringSize = 4 << 20;
constexpr int slowTracks = 8;  // more than there are threads for clients
constexpr int goodTrack = slowTracks;

struct SlowDiskTest : testing::Test {
    SlowDiskTest() {
        for (int i = 0; i <= goodTrack; ++i) {
            EXPECT_EQ(control.create(ringSize), i) << control.errorMessage();
        }
    }
    ~SlowDiskTest() override { disk.mend(); }

    static std::string folderOf(int track) { return "track-" + std::to_string(track) + "/"; }
    void hangSlowTracks(Operation operation, const std::string& file) {
        for (int i = 0; i < slowTracks; ++i) {
            disk.hang(operation, folderOf(i) + file);
        }
    }

    using Client = std::unique_ptr<StorageClient>;
    /// Their calls wait longer than anything here takes.
    Client connect() const { return std::make_unique<StorageClient>(server.port(), 120'000); }
    Client writerOf(int track) const {
        auto client = connect();
        EXPECT_TRUE(eventually([&] { return client->beWriter(track); })) << client->errorMessage();
        return client;
    }
    std::vector<Client> writersOfSlowTracks() const {
        std::vector<Client> writers;
        for (int i = 0; i < slowTracks; ++i) {
            writers.push_back(writerOf(i));
        }
        return writers;
    }

    /// What everybody else does goes on.
    void expectOthersServed() {
        EXPECT_THAT(control.tracks(), SizeIs(slowTracks + 1));
        for (int i = 0; i <= goodTrack; ++i) {
            EXPECT_EQ(control.size(i), static_cast<std::int64_t>(ringSize));
        }
        EXPECT_GE(control.remaining(), 0) << control.errorMessage();
        control.workers();
        EXPECT_EQ(control.set(goodTrack, {{"Name", "studio"}}), 0) << control.errorMessage();
        EXPECT_EQ(control.clear(goodTrack), 0) << control.errorMessage();
        const auto writer = writerOf(goodTrack);
        const auto reader = connect();
        ASSERT_TRUE(reader->beReader(goodTrack, TARN_STORAGE_START_LIVE)) << reader->errorMessage();
        for (int i = 0; i < 20; ++i) {  // more than once round
            EXPECT_EQ(writer->write(++timePoint, std::string(300'000, 'x')), 0);
            ASSERT_EQ(reader->read(), 1) << reader->errorMessage();
            EXPECT_EQ(reader->timePoint, timePoint);
        }
        EXPECT_EQ(writer->flushToDisk(), 0) << writer->errorMessage();
        EXPECT_EQ(writer->flush(), 0) << writer->errorMessage();
    }
    std::int64_t timePoint = 0;

    FaultyDisk disk;
    ServerInProcess server;
    StorageClient control{server.socketPath()};
};

TEST_F(SlowDiskTest, ReadersOfWhatIsNotInMemoryWaitAlone) {
    for (const auto& writer : writersOfSlowTracks()) {
        for (int i = 0; i < 5; ++i) {
            writer->write(i, std::to_string(i));
        }
        EXPECT_EQ(writer->flush(), 0) << writer->errorMessage();
    }
    hangSlowTracks(Operation::Read, "data.0");
    std::vector<Client> readers;
    std::vector<std::future<int>> reading;
    for (int i = 0; i < slowTracks; ++i) {
        readers.push_back(connect());
        ASSERT_TRUE(readers.back()->beReader(i)) << readers.back()->errorMessage();
        reading.push_back(std::async(std::launch::async,
                                     [&reader = *readers.back()] { return reader.read(120'000); }));
    }
    EXPECT_TRUE(disk.waitUntilHanging(slowTracks));
    expectOthersServed();
    disk.mend();
    for (int i = 0; i < slowTracks; ++i) {
        EXPECT_EQ(reading[i].get(), 1) << readers[i]->errorMessage();
        EXPECT_EQ(readers[i]->bytes, "0");
        for (const auto* const wanted : {"1", "2", "3", "4"}) {
            ASSERT_EQ(readers[i]->read(), 1) << readers[i]->errorMessage();
            EXPECT_EQ(readers[i]->bytes, wanted);
        }
    }
}

TEST_F(SlowDiskTest, ASyncThatTakesLongHoldsUpItsTracksWriterAndNobodyElse) {
    auto writers = writersOfSlowTracks();
    hangSlowTracks(Operation::Sync, "data.0");
    const std::string frame(1'000'000, 'x');
    std::vector<std::future<int>> writing;
    for (auto& writer : writers) {
        writing.push_back(std::async(std::launch::async, [&] {
            for (int i = 0; i < 4; ++i) {  // no place for the last ones without a checkpoint
                writer->write(i, frame);
            }
            return writer->flush();
        }));
    }
    EXPECT_TRUE(disk.waitUntilHanging(slowTracks));
    expectOthersServed();
    for (int i = 0; i < slowTracks; ++i) {  // readers of these tracks as well
        const auto reader = connect();
        EXPECT_TRUE(reader->beReader(i)) << reader->errorMessage();
        EXPECT_EQ(reader->read(), 1) << reader->errorMessage();
    }
    disk.mend();
    for (int i = 0; i < slowTracks; ++i) {
        EXPECT_EQ(writing[i].get(), 0) << writers[i]->errorMessage();
        EXPECT_TRUE(eventually([&] { return control.end(i) == 3; }));
    }
}

TEST_F(SlowDiskTest, WritersThatADiskHoldsUpHoldNobodyUp) {
    for (const auto* const file : {"data.0", "index"}) {
        auto writers = writersOfSlowTracks();
        hangSlowTracks(Operation::Write, file);
        std::vector<std::future<int>> writing;
        for (auto& writer : writers) {
            writing.push_back(std::async(std::launch::async, [&] {
                writer->write(1 + timePoint, "frame");
                return writer->flush();
            }));
        }
        EXPECT_TRUE(disk.waitUntilHanging(slowTracks));
        expectOthersServed();
        disk.mend();
        for (int i = 0; i < slowTracks; ++i) {
            EXPECT_EQ(writing[i].get(), 0) << writers[i]->errorMessage();
        }
    }
}

TEST_F(SlowDiskTest, AttachingClearingAndPropertiesWaitForTheirOwnDisk) {
    hangSlowTracks(Operation::Open, "data.0");
    hangSlowTracks(Operation::Sync, "");
    std::vector<Client> clients;
    std::vector<std::future<bool>> waiting;
    for (int i = 0; i < slowTracks; ++i) {
        clients.push_back(connect());
        auto& client = *clients.back();
        waiting.push_back(std::async(std::launch::async, [&client, i] {
            switch (i % 4) {
                case 0:
                    return client.beWriter(i);
                case 1:
                    return client.clear(i) == 0;
                case 2:
                    return client.set(i, {{"Name", "studio"}}) == 0;
                default:
                    return client.beReader(i);
            }
        }));
    }
    EXPECT_TRUE(disk.waitUntilHanging(slowTracks));
    expectOthersServed();
    disk.mend();
    for (int i = 0; i < slowTracks; ++i) {
        EXPECT_TRUE(waiting[i].get()) << clients[i]->errorMessage();
    }
}

TEST_F(SlowDiskTest, CheckpointsOfOtherTracksComeAsBefore) {
    auto writers = writersOfSlowTracks();
    hangSlowTracks(Operation::Sync, "data.0");
    for (auto& writer : writers) {
        writer->write(1, "frame");
        EXPECT_EQ(writer->flush(), 0) << writer->errorMessage();
    }
    EXPECT_TRUE(disk.waitUntilHanging(slowTracks)) << "checkpoints beside each other";
    const auto writer = writerOf(goodTrack);
    const auto before = disk.done(Operation::Sync, folderOf(goodTrack) + "data.0");
    writer->write(1, "frame");
    EXPECT_EQ(writer->flush(), 0) << writer->errorMessage();
    EXPECT_TRUE(eventually(
        [&] { return disk.done(Operation::Sync, folderOf(goodTrack) + "data.0") > before; }));
}

TEST_F(SlowDiskTest, WhoLeavesWhileHisFrameIsFetchedIsForgotten) {
    const auto writer = writerOf(0);
    writer->write(1, "frame");
    EXPECT_EQ(writer->flush(), 0) << writer->errorMessage();
    hangSlowTracks(Operation::Read, "data.0");
    {
        const auto reader = connect();
        ASSERT_TRUE(reader->beReader(0)) << reader->errorMessage();
        EXPECT_EQ(reader->read(0), 0);
        EXPECT_TRUE(disk.waitUntilHanging(1));
    }
    expectOthersServed();
    disk.mend();
    EXPECT_TRUE(eventually([&] { return control.workers().size() == 1; })) << "the writer";
}

}  // namespace
}  // namespace tarn::test
