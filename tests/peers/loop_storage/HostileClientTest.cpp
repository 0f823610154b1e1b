// Clients that do what they should not; the others are served meanwhile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "tests/peers/loop_storage/support/StalledClient.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/peers/loop_storage/support/WireBytes.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

struct HostileClientTest : testing::Test {
    void expectServed() {
        EXPECT_EQ(client.size(0), 1'000'000) << client.errorMessage();
        StorageClient another(server.port());
        EXPECT_EQ(another.size(0), 1'000'000) << another.errorMessage();
    }
    HostileClientTest() { client.create(1'000'000); }
    ~HostileClientTest() override {
        expectServed();
        EXPECT_EQ(server.stop(), 0);
    }

    StorageProgram server{{"--client-timeout", "0.3"}};
    StorageClient client{server.socketPath()};
};

TEST_F(HostileClientTest, RandomBytes) {
    std::mt19937 random(4711);
    for (int round = 0; round < 50; ++round) {
        std::string bytes(random() % 3000, '\0');
        for (auto& byte : bytes) {
            byte = static_cast<char>(random());
        }
        pour(server.socketPath(), bytes, 20ms);
    }
}

TEST_F(HostileClientTest, RandomBytesAfterAGoodGreeting) {
    std::mt19937 random(4712);
    for (int round = 0; round < 50; ++round) {
        std::string bytes(1 + random() % 300, '\0');
        for (auto& byte : bytes) {
            byte = static_cast<char>(random());
        }
        const auto size = static_cast<std::uint32_t>(bytes.size());
        pour(server.socketPath(), greeting() + header(size, 0) + bytes, 20ms);
    }
}

TEST_F(HostileClientTest, AnotherProtocolIsToldSo) {
    EXPECT_THAT(pour(server.socketPath(), "GET / HTTP/1.1\r\nHost: x\r\n\r\n", 5s),
                HasSubstr("The client does not greet as a loop storage client does"));
}

TEST_F(HostileClientTest, ALengthOfFourGigabytesIsRefusedAtOnce) {
    EXPECT_THAT(pour(server.socketPath(), greeting() + header(0xffffffffU, 0), 5s),
                HasSubstr("A request of 4294967295 bytes is too long"));
    EXPECT_THAT(pour(server.socketPath(), greeting() + header(0, 0xffffffffU), 5s),
                HasSubstr("A frame of 4294967295 bytes is too long"));
}

TEST_F(HostileClientTest, AFrameOfSomebodyWhoIsNoWriterIsRefused) {
    EXPECT_THAT(pour(server.socketPath(), greeting() + header(0, 10) + "0123456789", 5s),
                HasSubstr("does not fit what the connection is used for"));
}

TEST_F(HostileClientTest, HalfAMessageIsNotWaitedForForEver) {
    for (const auto& half : {greeting().substr(0, 5), greeting() + header(100, 0).substr(0, 3),
                             greeting() + header(100, 0) + "half"}) {
        const StalledClient stalled(server.socketPath(), half);
        EXPECT_TRUE(stalled.waitForEnd(10s));
    }
}

TEST_F(HostileClientTest, SilenceBetweenMessagesIsNoOffence) {
    const StalledClient quiet(server.socketPath(), greeting());
    const StalledClient stalled(server.socketPath(), "half");
    EXPECT_TRUE(stalled.waitForEnd(10s));
    EXPECT_FALSE(quiet.waitForEnd(0ms));
}

TEST_F(HostileClientTest, AWriterThatGoesAwayWithinAFrameLeavesNoTraceOfIt) {
    {
        StorageClient writer(server.socketPath());
        ASSERT_TRUE(writer.beWriter(0));
        ASSERT_EQ(writer.write(1, "whole"), 0);
        ASSERT_EQ(writer.flush(), 0);
    }
    ASSERT_TRUE(eventually([&] { return client.workers().empty(); }));
    {
        // Type WRITER of track 0, then a frame of which only the beginning comes.
        const StalledClient writer(server.socketPath(),
                                   greeting() + header(5, 0) +
                                       std::string("\x08\x0c\x12\x01\x00", 5) + header(4, 1000) +
                                       std::string("\x08\x0d\x40\x09", 4) + "part");
        EXPECT_TRUE(eventually([&] { return client.workers().size() == 1; }));
        EXPECT_TRUE(writer.waitForEnd(10s));
    }
    EXPECT_TRUE(eventually([&] { return client.workers().empty(); }));
    EXPECT_EQ(client.end(0), 1);
}

TEST_F(HostileClientTest, AFrameThatLiesOutsideTheSharedMemoryIsRefused) {
    // Type WRITER of track 0, sharing.
    const auto attach = greeting() + header(7, 0) + std::string("\x08\x0c\x12\x01\x00\x50\x01", 7);
    // Time point 9, offset and size.
    for (const auto& place :
         {std::string("\x58\x00\x18\x81\x80\x80\x10", 7),  // 32 MiB and a byte
          std::string("\x58\x80\x80\x80\x10\x18\x01"),     // one at 32 MiB
          std::string("\x58\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01\x18\x02")}) {
        const auto write = std::string("\x08\x0d\x40\x09", 4) + place;
        const auto size = static_cast<std::uint32_t>(write.size());
        EXPECT_THAT(pour(server.socketPath(), attach + header(size, 0) + write, 5s),
                    HasSubstr("outside the shared memory"));
        EXPECT_TRUE(eventually([&] { return client.workers().empty(); }));
    }
    EXPECT_EQ(client.end(0), -1);
}

TEST_F(HostileClientTest, AFrameInMemoryThatIsNotSharedIsRefused) {
    const auto write = std::string("\x08\x0d\x40\x09\x58\x01\x18\x01", 8);
    EXPECT_THAT(pour(server.socketPath(),
                     greeting() + header(5, 0) + std::string("\x08\x0c\x12\x01\x00", 5) +
                         header(8, 0) + write,
                     5s),
                HasSubstr("memory that is not shared"));
}

TEST_F(HostileClientTest, AReaderThatStopsReadingIsDroppedAndTheOthersGoOn) {
    StorageClient writer(server.socketPath());
    ASSERT_TRUE(writer.beWriter(0));
    // Type READER of track 0, then sixteen frames asked for and never taken.
    std::string asks = greeting() + header(7, 0) + std::string("\x08\x0e\x12\x01\x00\x48\x01", 7);
    for (int i = 0; i < 16; ++i) {
        asks += header(2, 0) + "\x08\x0f";
    }
    const StalledClient stalled(server.socketPath(), asks);
    ASSERT_TRUE(eventually([&] { return client.workers().size() == 2; }));
    StorageClient reader(server.socketPath());
    ASSERT_TRUE(reader.beReader(0));
    for (std::int64_t i = 1; i <= 20; ++i) {
        ASSERT_EQ(writer.write(i, std::string(900'000, 'x')), 0);
        ASSERT_EQ(writer.flush(), 0);
        ASSERT_EQ(reader.read(), 1) << reader.errorMessage();
        EXPECT_EQ(reader.timePoint, i);
    }
    EXPECT_TRUE(stalled.waitForEnd(10s));
    EXPECT_TRUE(eventually([&] { return client.workers().size() == 2; }));
}

TEST_F(HostileClientTest, OneThatAsksForTooManyFramesIsRefused) {
    std::string asks = greeting() + header(7, 0) + std::string("\x08\x0e\x12\x01\x00\x48\x01", 7);
    for (int i = 0; i < 17; ++i) {
        asks += header(2, 0) + "\x08\x0f";
    }
    EXPECT_THAT(pour(server.socketPath(), asks, 5s), HasSubstr("More than 16 frames"));
}

}  // namespace
}  // namespace tarn::test
