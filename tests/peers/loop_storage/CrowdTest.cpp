// Many clients, and such as ask for nothing: what they may cost the server and each other.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <deque>
#include <fstream>
#include <thread>

#include "tests/peers/loop_storage/support/StalledClient.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/peers/loop_storage/support/WireBytes.h"

namespace tarn::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

struct CrowdTest : testing::Test {
    void start(std::vector<std::string> options) {
        server = std::make_unique<StorageProgram>(std::move(options));
    }
    void comes(std::size_t count, const std::string& bytes) {
        for (std::size_t i = 0; i < count; ++i) {
            crowd.emplace_back(server->socketPath(), bytes);
        }
    }
    /// Somebody who comes now is served, over either transport.
    void expectServed() const {
        for (int i = 0; i < 5; ++i) {
            StorageClient local(server->socketPath());
            EXPECT_TRUE(local.isConnected()) << local.errorMessage();
            EXPECT_GE(local.remaining(), 0) << local.errorMessage();
            StorageClient far(server->port());
            EXPECT_TRUE(far.isConnected()) << far.errorMessage();
            EXPECT_GE(far.remaining(), 0) << far.errorMessage();
        }
    }
    /// The most memory that the server ever had, in MB.
    std::size_t peak() const {
        std::ifstream status("/proc/" + std::to_string(server->process().id()) + "/status");
        std::string word;
        std::size_t kilobytes = 0;
        while (status >> word && word != "VmHWM:") {
        }
        status >> kilobytes;
        return kilobytes / 1000;
    }

    std::unique_ptr<StorageProgram> server;
    std::deque<StalledClient> crowd;
};

TEST_F(CrowdTest, ASmallRequestCannotCostMuchMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer keeps what was freed, and more beside it";
#endif
    start({"--client-timeout", "0.5"});
    StorageClient client(server->socketPath());
    client.create(1'000'000);
    for (const auto* const name : {"a", "b", "c", "d"}) {
        ASSERT_EQ(client.set(0, {{name, std::string(60'000, 'x')}}), 0) << client.errorMessage();
    }
    const auto before = peak();
    // What 64 tracks are, seventy times: 5 kB from each of three.
    const auto describe = message("\x08\x04\x12\x40" + std::string(64, '\0'));
    std::string requests = greeting();
    for (int i = 0; i < 70; ++i) {
        requests += describe;
    }
    comes(3, requests);
    for (const auto& one : crowd) {
        EXPECT_TRUE(one.waitForEnd(30s)) << "it takes nothing";
    }
    EXPECT_LT(peak(), before + 30);
    EXPECT_EQ(client.properties(0).size(), 4U);
}

TEST_F(CrowdTest, WhoDoesNotGreetIsNotKept) {
    start({"--client-timeout", "0.3"});
    comes(1, "");
    EXPECT_TRUE(crowd.front().waitForEnd(10s));
}

TEST_F(CrowdTest, WhoGreetsOrAsksByteByByteIsNotKept) {
    start({"--client-timeout", "0.5", "--idle-timeout", "0.5"});
    const auto bytes = greeting() + message(std::string(100, '\0'));
    for (const std::size_t atOnce : {std::size_t{0}, greeting().size()}) {
        StalledClient slow(server->socketPath(), bytes.substr(0, atOnce));
        auto next = atOnce;
        while (next < bytes.size() && !slow.waitForEnd(100ms)) {
            slow.send(bytes.substr(next++, 1));
        }
        EXPECT_LT(next, atOnce + 60);
    }
}

TEST_F(CrowdTest, WhoAsksForNothingIsLetGoAndComesBackUnnoticed) {
    start({"--idle-timeout", "0.3"});
    StorageClient client(server->socketPath());
    StorageClient far(server->port());
    client.create(1'000'000);
    StorageClient reader(server->port());
    ASSERT_TRUE(reader.beReader(0));
    StorageClient writer(server->socketPath());
    ASSERT_TRUE(writer.beWriter(0));
    comes(1, greeting());
    EXPECT_TRUE(crowd.front().waitForEnd(10s));
    EXPECT_EQ(client.size(0), 1'000'000) << client.errorMessage();
    EXPECT_EQ(far.size(0), 1'000'000) << far.errorMessage();
    EXPECT_EQ(client.workers().size(), 2U) << "they may take as long as they like";
    ASSERT_EQ(writer.write(1, "frame"), 0);
    ASSERT_EQ(reader.read(), 1) << reader.errorMessage();
}

TEST_F(CrowdTest, AnInterruptedConnectionDoesNotComeBack) {
    start({"--idle-timeout", "0.3"});
    StorageClient client(server->socketPath());
    client.interrupt();
    EXPECT_EQ(client.remaining(), -1);
    EXPECT_EQ(client.errorType(), TARN_STORAGE_ERROR_CONNECTION);
}

TEST_F(CrowdTest, WhereEveryPlaceIsTakenByIdleOnesTheNextIsServed) {
    start({"--clients", "16"});
    comes(50, greeting());
    expectServed();
    comes(50, "");
    expectServed();
}

TEST_F(CrowdTest, WorkersLeavePlacesForQuestions) {
    start({"--clients", "16"});
    {
        StorageClient client(server->socketPath());
        client.create(1'000'000);
    }
    std::deque<StorageClient> readers;
    for (int i = 0; i < 12; ++i) {
        readers.emplace_back(server->socketPath());
        ASSERT_TRUE(readers.back().beReader(0)) << readers.back().errorMessage();
    }
    StorageClient oneMore(server->socketPath());
    EXPECT_FALSE(oneMore.beReader(0));
    EXPECT_EQ(oneMore.errorMessage(),
              "12 readers and writers are attached already: there is no place");
    comes(20, greeting());
    expectServed();
}

// The limit is lowered below what the crowd would need.
TEST_F(CrowdTest, WhereDescriptorsRunOutTheNextIsServed) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer takes a pipe to look at an object, and ends the server without";
#endif
    start({});
    const rlimit few{.rlim_cur = 128, .rlim_max = 128};
    ASSERT_EQ(::prlimit(server->process().id(), RLIMIT_NOFILE, &few, nullptr), 0);
    StorageClient client(server->socketPath());
    client.create(1'000'000);
    StorageClient reader(server->socketPath());
    ASSERT_TRUE(reader.beReader(0));
    comes(300, greeting());
    expectServed();
    EXPECT_EQ(client.size(0), 1'000'000)
        << "whoever had to go comes back: " << client.errorMessage();
    EXPECT_EQ(reader.read(0), 0) << reader.errorMessage();
    std::deque<StorageClient> readers;
    for (int i = 0; i < 30; ++i) {
        readers.emplace_back(server->socketPath());
        EXPECT_TRUE(readers.back().beReader(0)) << readers.back().errorMessage();
    }
    expectServed();
}

}  // namespace
}  // namespace tarn::test
