// Frames through the built program: over TCP they go through the socket, locally they do not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

constexpr std::uint64_t ringSize = 1'000'000;

/// A frame whose every byte tells which it is, so that a torn one shows.
std::string frameOf(std::int64_t timePoint, std::size_t size) {
    return std::string(size, static_cast<char>(timePoint * 7 % 251));
}

enum class Transport { Unix, Tcp };

struct DataTest : testing::TestWithParam<Transport> {
    DataTest() { control.create(ringSize); }

    StorageClient connect() const {
        return GetParam() == Transport::Unix ? StorageClient(server.socketPath())
                                             : StorageClient(server.port());
    }

    void fill(StorageClient& writer, std::int64_t first, std::int64_t last, std::size_t size) {
        for (auto i = first; i <= last; ++i) {
            ASSERT_EQ(writer.write(i, frameOf(i, size)), 0) << writer.errorMessage();
        }
        ASSERT_EQ(writer.flush(), 0) << writer.errorMessage();
    }

    StorageProgram server;
    StorageClient control{server.socketPath()};
    StorageClient writer = connect();
    StorageClient reader = connect();
};

INSTANTIATE_TEST_SUITE_P(Over, DataTest, testing::Values(Transport::Unix, Transport::Tcp),
                         [](const auto& chosen) {
                             return chosen.param == Transport::Unix ? "Unix" : "Tcp";
                         });

TEST_P(DataTest, AWriterThatHasLeftIsReplacedAtOnce) {
    for (int i = 0; i < 100; ++i) {
        auto next = connect();
        ASSERT_TRUE(next.beWriter(0)) << i << ": " << next.errorMessage();
        ASSERT_EQ(next.write(i, frameOf(i, 20'000)), 0) << next.errorMessage();
        ASSERT_EQ(next.flush(), 0) << next.errorMessage();
    }
}

TEST_P(DataTest, WhatIsWrittenIsRead) {
    ASSERT_TRUE(writer.beWriter(0));
    ASSERT_EQ(writer.write(10, "ten"), 0);
    ASSERT_EQ(writer.write(20, ""), 0);
    ASSERT_EQ(writer.write(30, std::string(500'000, 'x')), 0);
    ASSERT_EQ(writer.flush(), 0);
    EXPECT_EQ(control.beginning(0), 10);
    EXPECT_EQ(control.end(0), 30);
    ASSERT_TRUE(reader.beReader(0));
    ASSERT_EQ(reader.read(), 1);
    EXPECT_EQ(reader.timePoint, 10);
    EXPECT_EQ(reader.bytes, "ten");
    ASSERT_EQ(reader.read(), 1);
    EXPECT_EQ(reader.bytes, "");
    ASSERT_EQ(reader.read(), 1);
    EXPECT_EQ(reader.bytes, std::string(500'000, 'x'));
    EXPECT_EQ(reader.read(0), 0);
}

TEST_P(DataTest, AFrameMayLieInAnyNumberOfPieces) {
    ASSERT_TRUE(writer.beWriter(0));
    ASSERT_TRUE(reader.beReader(0));
    std::string frame;
    for (int i = 0; i < 900'000; ++i) {
        frame += static_cast<char>(i * 31 % 251);
    }
    std::int64_t timePoint = 0;
    // The system takes 1,024 at a time, of which two are the message's own.
    for (const std::size_t pieces : {1, 1022, 1023, 1024, 1025, 2048, 5000, 100'000}) {
        ASSERT_EQ(writer.write(++timePoint, frame, pieces), 0) << writer.errorMessage();
        ASSERT_EQ(writer.flush(), 0) << writer.errorMessage();
        ASSERT_EQ(reader.read(), 1) << reader.errorMessage();
        EXPECT_EQ(reader.bytes, frame) << pieces;
    }
}

TEST_P(DataTest, ASecondWriterIsRefused) {
    ASSERT_TRUE(writer.beWriter(0));
    StorageClient second = connect();
    EXPECT_FALSE(second.beWriter(0));
    EXPECT_EQ(second.errorType(), TARN_STORAGE_ERROR_IN_USE);
    EXPECT_EQ(second.errorMessage(), "Track 0 has a writer already");
}

TEST_P(DataTest, TheNextWriterGoesOnAfterTheFirst) {
    {
        StorageClient first = connect();
        ASSERT_TRUE(first.beWriter(0));
        fill(first, 1, 5, 100);
    }
    ASSERT_TRUE(eventually([&] { return writer.beWriter(0); }));
    EXPECT_EQ(writer.write(5, "again"), -1);
    EXPECT_EQ(writer.errorType(), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_EQ(writer.errorMessage(), "Time point 5 does not come after 5");
    fill(writer, 6, 6, 100);
    EXPECT_EQ(control.end(0), 6);
}

TEST_P(DataTest, AFrameLargerThanTheRingIsRefusedAndTheWriterGoesOn) {
    ASSERT_TRUE(writer.beWriter(0));
    EXPECT_EQ(writer.write(1, std::string(ringSize + 1, 'x')), -1);
    EXPECT_EQ(writer.errorType(), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_THAT(writer.errorMessage(), testing::HasSubstr("is too large"));
    fill(writer, 1, 1, ringSize);
    EXPECT_EQ(control.end(0), 1);
}

TEST_P(DataTest, ATrackThatIsNotThereCannotBeAttachedTo) {
    EXPECT_FALSE(writer.beWriter(99));
    EXPECT_EQ(writer.errorType(), TARN_STORAGE_ERROR_NOT_FOUND);
    EXPECT_TRUE(writer.beWriter(0)) << "the connection serves on";
}

TEST_P(DataTest, AWorkersConnectionDoesNothingElse) {
    ASSERT_TRUE(writer.beWriter(0));
    EXPECT_EQ(writer.remaining(), -1);
    EXPECT_EQ(writer.errorType(), TARN_STORAGE_ERROR_ARGUMENT);
    EXPECT_FALSE(writer.beReader(0));
    fill(writer, 1, 1, 10);
}

TEST_P(DataTest, ReadingBeginsAtATimePointOrTheNextLater) {
    ASSERT_TRUE(writer.beWriter(0));
    fill(writer, 1, 9, 10);
    ASSERT_TRUE(reader.beReader(0, TARN_STORAGE_START_TIME_POINT, 4));
    ASSERT_EQ(reader.read(), 1);
    EXPECT_EQ(reader.timePoint, 4);
}

TEST_P(DataTest, ATimePointInTheFutureIsWaitedFor) {
    ASSERT_TRUE(writer.beWriter(0));
    fill(writer, 1, 3, 10);
    ASSERT_TRUE(reader.beReader(0, TARN_STORAGE_START_TIME_POINT, 6));
    EXPECT_EQ(reader.read(20), 0);
    fill(writer, 4, 7, 10);
    ASSERT_EQ(reader.read(), 1);
    EXPECT_EQ(reader.timePoint, 6);
}

TEST_P(DataTest, TheLiveEdgeIsFollowed) {
    ASSERT_TRUE(writer.beWriter(0));
    fill(writer, 1, 3, 10);
    ASSERT_TRUE(reader.beReader(0, TARN_STORAGE_START_LIVE));
    EXPECT_EQ(reader.read(20), 0);
    for (std::int64_t i = 4; i < 100; ++i) {
        fill(writer, i, i, 1000);
        ASSERT_EQ(reader.read(), 1);
        EXPECT_EQ(reader.timePoint, i);
        EXPECT_EQ(reader.bytes, frameOf(i, 1000));
    }
}

TEST_P(DataTest, AReaderThatIsOvertakenIsToldTheOldestTimePointAndGoesOnThere) {
    ASSERT_TRUE(writer.beWriter(0));
    fill(writer, 1, 10, 100'000);
    ASSERT_TRUE(reader.beReader(0));
    ASSERT_EQ(reader.read(), 1);
    fill(writer, 11, 60, 100'000);
    ASSERT_EQ(writer.flush(), 0);  // so that he is overtaken by all of them
    int result = 1;
    while ((result = reader.read()) == 1) {
        ASSERT_EQ(reader.bytes, frameOf(reader.timePoint, 100'000));
    }
    ASSERT_EQ(reader.errorType(), TARN_STORAGE_ERROR_OVERTAKEN) << reader.errorMessage();
    EXPECT_EQ(reader.oldestTimePoint(), 51);
    ASSERT_EQ(reader.read(), 1);
    EXPECT_EQ(reader.timePoint, 51);
    EXPECT_EQ(reader.bytes, frameOf(51, 100'000));
}

TEST_P(DataTest, ClearingIsToldToReadersThatHadSomethingBeforeThem) {
    ASSERT_TRUE(writer.beWriter(0));
    fill(writer, 1, 9, 100'000);
    ASSERT_TRUE(reader.beReader(0));
    ASSERT_EQ(control.clear(0), 0);
    EXPECT_EQ(control.beginning(0), -1);
    EXPECT_EQ(reader.read(), -1);
    EXPECT_EQ(reader.errorType(), TARN_STORAGE_ERROR_OVERTAKEN);
    EXPECT_EQ(reader.oldestTimePoint(), -1);
    fill(writer, 10, 10, 10);
    ASSERT_EQ(reader.read(), 1);
    EXPECT_EQ(reader.timePoint, 10);
}

TEST_P(DataTest, SixteenReadersAndAWriterNobodyIsFedTornFrames) {
    constexpr std::int64_t frames = 400;
    constexpr std::size_t size = 60'000;
    ASSERT_TRUE(writer.beWriter(0));
    std::atomic<int> torn = 0;
    std::atomic<int> arrived = 0;
    std::vector<std::jthread> readers;
    for (int i = 0; i < 16; ++i) {
        readers.emplace_back([&, i] {
            StorageClient own = connect();
            if (!own.beReader(0, TARN_STORAGE_START_OLDEST, 0, "reader " + std::to_string(i))) {
                return;
            }
            ++arrived;
            while (own.timePoint < frames) {
                const int result = own.read();
                if (result == 1 && own.bytes != frameOf(own.timePoint, size)) {
                    ++torn;
                }
                if (result == 0 ||
                    (result < 0 && own.errorType() != TARN_STORAGE_ERROR_OVERTAKEN)) {
                    return;
                }
            }
            --arrived;
        });
    }
    ASSERT_TRUE(eventually([&] { return control.workers().size() == 17; }));
    fill(writer, 1, frames, size);
    readers.clear();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(arrived, 0) << "some did not reach the end";
}

}  // namespace
}  // namespace tarn::test
