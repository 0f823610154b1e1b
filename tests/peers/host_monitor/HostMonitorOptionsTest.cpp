#include "peers/host_monitor/HostMonitorOptions.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/CommandLines.h"

namespace tarn::peers::host_monitor {
namespace {

using socket::Protocol;

struct HostMonitorOptionsTest : testing::Test {
    test::CommandLines lines{"tarnHostMonitor"};

    std::optional<HostMonitorOptions> parse(const std::vector<const char*>& arguments) {
        return lines.parse(parseHostMonitorOptions, arguments);
    }
};

TEST_F(HostMonitorOptionsTest, NeedsNone) {
    const auto options = parse({});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->endpoints.requests.toString(Protocol::None), "ipc:///tmp/host-monitor");
    EXPECT_EQ(options->endpoints.events->toString(Protocol::None),
              "ipc:///tmp/host-monitor-events");
    EXPECT_EQ(options->interval, std::chrono::seconds(1));
    EXPECT_FALSE(options->name.empty());
}

TEST_F(HostMonitorOptionsTest, TakesAll) {
    const auto options = parse({"--endpoint", "ipc:///tmp/a", "--event-endpoint", "tcp://b:7000",
                                "--interval", "0.5", "--name", "box"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->endpoints.requests.toString(Protocol::None), "ipc:///tmp/a");
    EXPECT_EQ(options->endpoints.events->toString(Protocol::None), "tcp://b:7000");
    EXPECT_EQ(options->interval, std::chrono::milliseconds(500));
    EXPECT_EQ(options->name, "box");
}

TEST_F(HostMonitorOptionsTest, PollOnlyHasNoEventEndpoint) {
    EXPECT_FALSE(parse({"--poll-only"})->endpoints.events);
    EXPECT_FALSE(parse({"--poll-only", "--event-endpoint", "ipc:///tmp/b"}));
    EXPECT_EQ(lines.exitStatus, 2);
}

TEST_F(HostMonitorOptionsTest, HelpEndsWellAndWrongOptionsDoNot) {
    EXPECT_FALSE(parse({"--help"}));
    EXPECT_EQ(lines.exitStatus, 0);
    for (const char* interval : {"0", "-1", "x", "1e9", "nan"}) {
        lines.exitStatus = -1;
        EXPECT_FALSE(parse({"--interval", interval})) << interval;
        EXPECT_EQ(lines.exitStatus, 2);
    }
}

TEST_F(HostMonitorOptionsTest, WhatIsNoEndpointIsRefused) {
    for (const char* option : {"--endpoint", "--event-endpoint"}) {
        for (const char* text : {"", "nonsense", "tcp://host", "inproc://x"}) {
            EXPECT_FALSE(parse({option, text})) << option << text;
            EXPECT_EQ(lines.exitStatus, 2);
            EXPECT_NE(lines.err.find(option), std::string::npos) << lines.err;
        }
    }
}

}  // namespace
}  // namespace tarn::peers::host_monitor
