// kill -9 in the middle of writing.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

constexpr std::uint64_t ringSize = 3'000'000;
constexpr std::size_t frameSize = 250'000;

std::string frameOf(std::int64_t timePoint) {
    return std::string(frameSize, static_cast<char>(timePoint * 7 % 251));
}

struct CrashTest : testing::Test {
    /// Writes frames until the server goes; the last one it has acknowledged.
    std::int64_t writeUntilKilled(std::int64_t first) {
        StorageClient writer(server.socketPath());
        EXPECT_TRUE(eventually([&] { return writer.beWriter(0); }));
        std::atomic<std::int64_t> acknowledged = first - 1;
        std::jthread killer([&] {
            eventually([&] { return acknowledged >= first + 20; });
            server.kill();
        });
        for (auto i = first;; ++i) {
            if (writer.write(i, frameOf(i)) != 0 || (i % 3 == 0 && writer.flush() != 0)) {
                return acknowledged;
            }
            acknowledged = i % 3 == 0 ? i : acknowledged.load();
        }
    }

    /// Reads everything there is; the last time point.
    std::int64_t readAll() {
        StorageClient reader(server.socketPath());
        EXPECT_TRUE(reader.beReader(0));
        StorageClient control(server.socketPath());
        const auto end = control.end(0);
        int count = 0;
        while (reader.timePoint < end && reader.read() == 1) {
            EXPECT_EQ(reader.bytes, frameOf(reader.timePoint)) << "torn";
            ++count;
        }
        EXPECT_GE(count, 10) << "of the 12 that fit, one may be gone over";
        return reader.timePoint;
    }

    StorageProgram server;
};

TEST_F(CrashTest, EverythingAcknowledgedIsThereAndNothingTornTimeAndAgain) {
    StorageClient(server.socketPath()).create(ringSize);
    std::int64_t next = 1;
    for (int round = 0; round < 5; ++round) {
        const auto acknowledged = writeUntilKilled(next);
        server.start();
        const auto last = readAll();
        EXPECT_GE(last, acknowledged) << "round " << round;
        next = last + 1;
    }
}

TEST_F(CrashTest, TracksMadeBeforeAKillAreThereAfterIt) {
    {
        StorageClient client(server.socketPath());
        EXPECT_EQ(client.create(1000), 0);
        EXPECT_EQ(client.set(0, {{"name", "value"}}), 0);
        EXPECT_EQ(client.create(1000), 1);
        EXPECT_EQ(client.destroy(1), 0);
    }
    server.kill();
    server.start();
    StorageClient client(server.socketPath());
    EXPECT_EQ(client.tracks(), std::vector<std::int64_t>{0});
    EXPECT_EQ(client.properties(0).at("name"), "value");
    EXPECT_EQ(client.create(1000), 2);
}

}  // namespace
}  // namespace tarn::test
