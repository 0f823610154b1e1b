#include "platform/program/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <functional>

#include "platform/socket/SocketEndpoint.h"
#include "tests/support/CommandLines.h"

namespace tarn::program {
namespace {

using namespace std::chrono_literals;
using socket::Protocol;
using socket::SocketEndpoint;
using testing::HasSubstr;

/// A program with one option, whose value is given or left out.
struct OptionsTest : testing::Test {
    test::CommandLines lines{"tarnThing"};
    std::function<void(CLI::App&)> add;

    bool parse(const std::vector<const char*>& words) {
        return lines.parse(
            [this](CommandLine& line) {
                CLI::App app("Does a thing");
                add(app);
                return line.parse(app);
            },
            words);
    }

    void expectRefused(const char* text, const std::string& reason) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(parse({"--it", text}));
        EXPECT_EQ(lines.exitStatus, 2);
        EXPECT_THAT(lines.err, HasSubstr("--it: " + reason));
    }

    std::string help() {
        parse({"--help"});
        return lines.out;
    }
};

TEST_F(OptionsTest, AnEndpointIsOneThatOtherProcessesCanReach) {
    auto endpoint = SocketEndpoint::FromString("ipc:///tmp/usual");
    add = [&](CLI::App& app) { addEndpoint(app, "--it", endpoint, "Where"); };
    EXPECT_TRUE(parse({}));
    EXPECT_EQ(endpoint.toString(Protocol::None), "ipc:///tmp/usual");
    EXPECT_TRUE(parse({"--it", "tcp://*:7000"}));
    EXPECT_EQ(endpoint.toString(Protocol::None), "tcp://*:7000");
    expectRefused("nonsense", "");
    expectRefused("tcp://host:70000", "");
    expectRefused("inproc://x", "an endpoint that other processes can reach is expected");
    EXPECT_EQ(endpoint.toString(Protocol::None), "tcp://*:7000");
}

TEST_F(OptionsTest, AnEndpointMayBeLeftOut) {
    std::optional<SocketEndpoint> endpoint;
    add = [&](CLI::App& app) { addEndpoint(app, "--it", endpoint, "Where"); };
    EXPECT_TRUE(parse({}));
    EXPECT_FALSE(endpoint);
    EXPECT_TRUE(parse({"--it", "ipc:///tmp/x"}));
    EXPECT_EQ(endpoint->toString(Protocol::None), "ipc:///tmp/x");
}

TEST_F(OptionsTest, SecondsMayHaveAFraction) {
    std::chrono::milliseconds time = 1500ms;
    add = [&](CLI::App& app) { addSeconds(app, "--it", time, {.least = 0.05, .most = 3600}, "T"); };
    EXPECT_THAT(help(), HasSubstr("1.5"));
    const std::vector<std::pair<const char*, std::chrono::milliseconds>> good = {
        {"0.05", 50ms}, {"0.07", 70ms}, {"10", 10s}, {"1e2", 100s}, {"3600", 3600s}};
    for (const auto& [text, expected] : good) {
        EXPECT_TRUE(parse({"--it", text})) << lines.err;
        EXPECT_EQ(time, expected) << text;
    }
    for (const char* text : {"", "0", "0.049", "-1", "3600.1", "1e9", "nan", "inf", "5s", "x"}) {
        expectRefused(text, "a number of seconds from 0.05 to 3600 is expected");
    }
    EXPECT_EQ(time, 3600s);
}

TEST_F(OptionsTest, ASizeHasUnitsOf1024AndOf1000) {
    std::uint64_t size = 0;
    add = [&](CLI::App& app) { addSize(app, "--it", size, {.least = 1, .most = 1U << 30U}, "S"); };
    const std::vector<std::pair<const char*, std::uint64_t>> good = {
        {"1", 1},          {"10MB", 10'000'000}, {"10MiB", 10U << 20U}, {"10M", 10U << 20U},
        {"1.5 KiB", 1536}, {"1G", 1U << 30U}};
    for (const auto& [text, expected] : good) {
        EXPECT_TRUE(parse({"--it", text})) << lines.err;
        EXPECT_EQ(size, expected) << text;
    }
    for (const char* text : {"", "ten", "-1", "1X", "99999999999999999999"}) {
        expectRefused(text, "a size is expected, such as 10G, 1.5TiB or 4096");
    }
    for (const char* text : {"0", "0.1", "1073741825"}) {
        expectRefused(text, "a size from 1 to 1073741824 bytes is expected");
    }
    EXPECT_THAT(help(), HasSubstr("KB, MB, GB, TB"));
}

}  // namespace
}  // namespace tarn::program
