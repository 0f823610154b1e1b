#include "peers/loop_storage/LoopStorageOptions.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/CommandLines.h"

namespace tarn::peers::loop_storage {
namespace {

struct LoopStorageOptionsTest : testing::Test {
    std::optional<LoopStorageOptions> parse(std::vector<const char*> words) {
        words.insert(words.begin(), {"--directory", "/tracks"});
        return lines.parse(parseLoopStorageOptions, words);
    }
    test::CommandLines lines{"tarnLoopStorage"};
};

TEST_F(LoopStorageOptionsTest, SizesAreHuman) {
    const auto capacity = [&](const char* text) {
        return parse({"--unix", "/s", "--capacity", text})->capacity.value();
    };
    EXPECT_EQ(capacity("1000"), 1000U);
    EXPECT_EQ(capacity("10M"), 10U << 20U);
    EXPECT_EQ(capacity("2 GiB"), 2ULL << 30U);
    EXPECT_EQ(capacity("3t"), 3ULL << 40U);
    EXPECT_EQ(capacity("10MB"), 10'000'000U);
    EXPECT_EQ(capacity("1.5GB"), 1'500'000'000U);
    EXPECT_EQ(capacity("1P"), 1ULL << 50U);
}

TEST_F(LoopStorageOptionsTest, SizesThatAreNoneAreRefused) {
    for (const char* const text : {"", "-1", "0", "ten", "1X", "99999999999999999999", "999999E",
                                   "1025P", "nan", "-1G", "0.1"}) {
        EXPECT_FALSE(parse({"--unix", "/s", "--capacity", text})) << text;
        EXPECT_EQ(lines.exitStatus, 2) << text;
    }
}

TEST_F(LoopStorageOptionsTest, AddressesHaveAHostAndAPort) {
    EXPECT_EQ(parse({"--tcp", "127.0.0.1:7000"})->tcp->port, 7000);
    EXPECT_EQ(parse({"--tcp", "[::1]:7000"})->tcp->host, "::1");
    for (const char* const text : {"", "7000", ":7000", "127.0.0.1", "127.0.0.1:70000", "::1:7000",
                                   "127.0.0.1:", "127.0.0.1:7x"}) {
        EXPECT_FALSE(parse({"--tcp", text})) << text;
        EXPECT_EQ(lines.exitStatus, 2) << text;
    }
}

TEST_F(LoopStorageOptionsTest, ClientsHaveTimesAndPlaces) {
    const auto standard = *parse({"--unix", "/s"});
    EXPECT_EQ(standard.clientTimeOut, std::chrono::seconds(10));
    EXPECT_EQ(standard.idleTimeOut, std::chrono::seconds(60));
    EXPECT_EQ(standard.clients, 1000U);
    const auto given = *parse(
        {"--unix", "/s", "--client-timeout", "0.5", "--idle-timeout", "2.5", "--clients", "8"});
    EXPECT_EQ(given.clientTimeOut, std::chrono::milliseconds(500));
    EXPECT_EQ(given.idleTimeOut, std::chrono::milliseconds(2500));
    EXPECT_EQ(given.clients, 8U);
    for (const char* const option : {"--client-timeout", "--idle-timeout", "--clients"}) {
        for (const char* const text : {"", "0", "-1", "nan", "100001", "many"}) {
            EXPECT_FALSE(parse({"--unix", "/s", option, text})) << option << text;
            EXPECT_EQ(lines.exitStatus, 2);
        }
    }
}

TEST_F(LoopStorageOptionsTest, SomewhereItHasToListen) {
    EXPECT_FALSE(parse({}));
    EXPECT_EQ(lines.exitStatus, 2);
    EXPECT_NE(lines.err.find("--tcp or --unix"), std::string::npos);
}

TEST_F(LoopStorageOptionsTest, HelpIsNoError) {
    EXPECT_FALSE(parse({"--help"}));
    EXPECT_EQ(lines.exitStatus, 0);
}

}  // namespace
}  // namespace tarn::peers::loop_storage
