// Frames that are acknowledged when the disk has them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "peers/loop_storage/ring/index/IndexFile.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::test {
namespace {

using peers::loop_storage::IndexContent;
using peers::loop_storage::IndexFile;
using testing::HasSubstr;

struct DurableTest : testing::Test {
    DurableTest() {
        control.create(1'000'000);
        EXPECT_TRUE(writer.beWriter(0));
    }
    /// The frames that the last checkpoint claims.
    std::uint64_t claimed() const {
        const auto content =
            IndexFile(server.directory() / "track-0" / "index").load({'o', 't', 'h', 'e', 'r'});
        return content.state == IndexContent::State::Doubtful ? content.certain.sequence
                                                              : content.nextSequence;
    }

    StorageProgram server;
    StorageClient control{server.socketPath()};
    StorageClient writer{server.socketPath()};
};

TEST_F(DurableTest, AFlushToTheDiskIsAnsweredWhenACheckpointClaimsTheFrames) {
    for (int i = 1; i <= 20; ++i) {
        ASSERT_EQ(writer.write(i, "frame"), 0);
        ASSERT_EQ(writer.flushToDisk(), 0) << writer.errorMessage();
        EXPECT_GE(claimed(), static_cast<std::uint64_t>(i));
    }
}

TEST_F(DurableTest, ADurableWriterIsAnsweredFromTheDisk) {
    writer.beDurable();
    for (int i = 1; i <= 100; ++i) {
        ASSERT_EQ(writer.write(i, std::string(1000, 'x')), 0) << writer.errorMessage();
        if (i > 8) {
            EXPECT_GE(claimed(), static_cast<std::uint64_t>(i - 8)) << "more are on their way";
        }
    }
    ASSERT_EQ(writer.flush(), 0);
    EXPECT_EQ(claimed(), 100U);
}

TEST_F(DurableTest, OverTcpTheSame) {
    StorageClient remote(server.port());
    control.create(1'000'000);
    ASSERT_TRUE(remote.beWriter(1));
    remote.beDurable();
    for (int i = 1; i <= 30; ++i) {
        ASSERT_EQ(remote.write(i, std::string(3000, 'x')), 0) << remote.errorMessage();
    }
    ASSERT_EQ(remote.flush(), 0) << remote.errorMessage();
    const auto content =
        IndexFile(server.directory() / "track-1" / "index").load({'o', 't', 'h', 'e', 'r'});
    EXPECT_EQ(content.certain.sequence, 30U);
}

TEST_F(DurableTest, AnOrdinaryFlushDoesNotWaitForTheDisk) {
    ASSERT_EQ(writer.write(1, "frame"), 0);
    ASSERT_EQ(writer.flush(), 0);
    EXPECT_EQ(control.end(0), 1);
}

TEST_F(DurableTest, FlushesOfManyWritersAreAllAnswered) {
    std::vector<std::unique_ptr<StorageClient>> writers;
    for (int track = 1; track <= 6; ++track) {
        ASSERT_EQ(control.create(100'000), track);
        writers.push_back(std::make_unique<StorageClient>(server.socketPath()));
        ASSERT_TRUE(writers.back()->beWriter(track));
        writers.back()->beDurable();
    }
    for (int i = 1; i <= 20; ++i) {
        for (auto& one : writers) {
            ASSERT_EQ(one->write(i, "frame"), 0) << one->errorMessage();
        }
    }
    for (auto& one : writers) {
        ASSERT_EQ(one->flush(), 0) << one->errorMessage();
    }
    for (int track = 1; track <= 6; ++track) {
        EXPECT_EQ(control.end(track), 20);
    }
}

// ---- what is shown of a track that is not as it should be ---------------------------------------

struct ShownTest : testing::Test {
    void fill() {
        control.create(1'000'000);
        StorageClient writer(server.socketPath());
        ASSERT_TRUE(writer.beWriter(0));
        for (int i = 1; i <= 5; ++i) {
            ASSERT_EQ(writer.write(i, std::string(1000, 'x')), 0);
        }
        ASSERT_EQ(writer.flush(), 0);
    }
    /// What the server has written itself is in memory as it was written.
    void restart() {
        server.stop();
        server.start();
    }
    void damage(std::size_t offset) {
        std::fstream file(server.directory() / "track-0" / "data.0",
                          std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(offset));
        file.put('#');
    }
    void expectAllButTheThird(StorageClient& reader) {
        for (const int timePoint : {1, 2, -1, 4, 5}) {
            const int result = reader.read();
            if (timePoint < 0) {
                EXPECT_EQ(result, -1);
                EXPECT_EQ(reader.errorType(), TARN_STORAGE_ERROR_DAMAGED);
                EXPECT_EQ(reader.errorMessage(), "The frame of time point 3 is damaged");
            } else {
                EXPECT_EQ(result, 1) << reader.errorMessage();
                EXPECT_EQ(reader.timePoint, timePoint);
            }
        }
    }

    StorageProgram server;
    StorageClient control{server.socketPath()};
};

TEST_F(ShownTest, ADamagedFrameIsToldTheReaderWhereverItIsReadAndCounted) {
    fill();
    restart();
    damage(2500);
    StorageClient remote(server.port());
    ASSERT_TRUE(remote.beReader(0));
    expectAllButTheThird(remote);
    StorageClient local(server.socketPath());
    ASSERT_TRUE(local.beReader(0));
    expectAllButTheThird(local);
    StorageClient asking(server.socketPath());
    EXPECT_EQ(asking.damagedFrames(0), 2);
    EXPECT_EQ(asking.failure(0), "");
}

TEST_F(ShownTest, TheProgramVerifiesADirectoryAndATrack) {
    fill();
    const std::string program = server.command().front();
    const auto directory = server.directory().string();
    const auto refused = runProcess({program, "--verify", directory});
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_THAT(refused.err, HasSubstr("A server uses directory " + directory));
    server.stop();
    const auto well = runProcess({program, "--verify", directory});
    EXPECT_EQ(well.exitStatus, 0) << well.err;
    EXPECT_EQ(well.out, "track-0: 5 frames are whole, 0 are not, 0 have no checksum\n");
    damage(2500);
    const auto damaged = runProcess({program, "--verify", directory + "/track-0"});
    EXPECT_EQ(damaged.exitStatus, 1);
    EXPECT_THAT(damaged.out, HasSubstr("track-0: the frame of time point 3 is damaged"));
    const auto both = runProcess({program, "--verify", directory, "--directory", directory});
    EXPECT_EQ(both.exitStatus, 2);
}

}  // namespace
}  // namespace tarn::test
