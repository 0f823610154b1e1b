#include "gateway/GatewayOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/CommandLines.h"

namespace tarn::gateway {

using tarn::socket::Protocol;
using testing::HasSubstr;

namespace {

struct Parsed : test::CommandLines {
    Parsed() : CommandLines("tarnGateway") {}
    std::optional<GatewayOptions> options;
};

Parsed parse(const std::vector<const char*>& line) {
    Parsed parsed;
    parsed.options = parsed.CommandLines::parse(parseGatewayOptions, line);
    return parsed;
}

}  // namespace

TEST(GatewayOptionsTest, DefaultsAreTheServices) {
    const auto parsed = parse({});
    ASSERT_TRUE(parsed.options);
    EXPECT_EQ(parsed.options->events.toString(Protocol::None), "ipc:///tmp/events");
    EXPECT_EQ(parsed.options->publish.toString(Protocol::None), "ipc:///tmp/events.pub");
    EXPECT_EQ(parsed.options->requests.toString(Protocol::None), "ipc:///tmp/requests");
}

TEST(GatewayOptionsTest, WhereTheServiceIsAskedCanBeGiven) {
    const auto parsed = parse({"--requests", "tcp://studio:9000"});
    ASSERT_TRUE(parsed.options);
    EXPECT_EQ(parsed.options->requests.toString(Protocol::None), "tcp://studio:9000");
    const auto nonsense = parse({"--requests", "nonsense"});
    EXPECT_FALSE(nonsense.options);
    EXPECT_EQ(nonsense.exitStatus, 2);
    EXPECT_THAT(nonsense.err, HasSubstr("--requests"));
}

TEST(GatewayOptionsTest, EitherEndpointCanBeGiven) {
    const auto one = parse({"--events", "tcp://127.0.0.1:7000"});
    ASSERT_TRUE(one.options);
    EXPECT_EQ(one.options->publish.toString(Protocol::None), "tcp://127.0.0.1:7001");
    const auto two =
        parse({"--events", "tcp://127.0.0.1:65535", "--publish", "ipc:///tmp/elsewhere"});
    ASSERT_TRUE(two.options);
    EXPECT_EQ(two.options->publish.toString(Protocol::None), "ipc:///tmp/elsewhere");
}

TEST(GatewayOptionsTest, ALineThatMakesNoSenseIsOneLineAndStatusTwo) {
    for (const auto& line :
         std::vector<std::vector<const char*>>{{"--nonsense"},
                                               {"nonsense"},
                                               {"--events"},
                                               {"--events", "nonsense"},
                                               {"--events", "inproc://x"},
                                               {"--events", "tcp://127.0.0.1:65535"},
                                               {"--publish", "\x1b[31m"}}) {
        const auto parsed = parse(line);
        EXPECT_FALSE(parsed.options);
        EXPECT_EQ(parsed.exitStatus, 2);
        EXPECT_THAT(parsed.err, testing::StartsWith("tarnGateway: "));
        EXPECT_EQ(std::count(parsed.err.begin(), parsed.err.end(), '\n'), 1) << parsed.err;
        EXPECT_EQ(parsed.err.find('\x1b'), std::string::npos);
    }
}

TEST(GatewayOptionsTest, HelpAndVersionAreStatusZero) {
    const auto help = parse({"--help"});
    EXPECT_EQ(help.exitStatus, 0);
    EXPECT_THAT(help.out, HasSubstr("--publish"));
    const auto version = parse({"--version"});
    EXPECT_EQ(version.exitStatus, 0);
    EXPECT_THAT(version.out, testing::MatchesRegex("tarnGateway [0-9.]+\n"));
}

}  // namespace tarn::gateway
