#include "peers/host_monitor/HostMonitorOptions.h"

#include <gtest/gtest.h>

#include <vector>

namespace tarn::peers::host_monitor {
namespace {

struct HostMonitorOptionsTest : testing::Test {
    int exitStatus = -1;

    std::optional<HostMonitorOptions> parse(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), "monitor");
        return parseHostMonitorOptions(static_cast<int>(arguments.size()), arguments.data(),
                                       exitStatus);
    }
};

TEST_F(HostMonitorOptionsTest, NeedsNone) {
    const auto options = parse({});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->endpoint, "ipc:///tmp/host-monitor");
    EXPECT_EQ(options->eventEndpoint, "ipc:///tmp/host-monitor-events");
    EXPECT_EQ(options->interval, std::chrono::seconds(1));
    EXPECT_FALSE(options->name.empty());
}

TEST_F(HostMonitorOptionsTest, TakesAll) {
    const auto options =
        parse({"--endpoint", "a", "--event-endpoint", "b", "--interval", "0.5", "--name", "box"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->endpoint, "a");
    EXPECT_EQ(options->eventEndpoint, "b");
    EXPECT_EQ(options->interval, std::chrono::milliseconds(500));
    EXPECT_EQ(options->name, "box");
}

TEST_F(HostMonitorOptionsTest, PollOnlyHasNoEventEndpoint) {
    EXPECT_EQ(parse({"--poll-only"})->eventEndpoint, "");
    EXPECT_FALSE(parse({"--poll-only", "--event-endpoint", "b"}));
    EXPECT_EQ(exitStatus, 2);
}

TEST_F(HostMonitorOptionsTest, HelpEndsWellAndWrongOptionsDoNot) {
    EXPECT_FALSE(parse({"--help"}));
    EXPECT_EQ(exitStatus, 0);
    for (const char* interval : {"0", "-1", "x", "1e9", "nan"}) {
        exitStatus = -1;
        EXPECT_FALSE(parse({"--interval", interval})) << interval;
        EXPECT_EQ(exitStatus, 2);
    }
}

}  // namespace
}  // namespace tarn::peers::host_monitor
