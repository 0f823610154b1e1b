#include "peers/job_runtime/launcher/LauncherOptions.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/CommandLines.h"

namespace tarn::peers {
namespace {

struct LauncherOptionsTest : testing::Test {
    test::CommandLines lines{"launcher"};

    std::optional<LauncherOptions> parse(const std::vector<const char*>& arguments) {
        return lines.parse([](auto& line) { return parseLauncherOptions(line, "Runs"); },
                           arguments);
    }
};

TEST_F(LauncherOptionsTest, TakesLabelEndpointAndDaemon) {
    const auto options = parse({"-l", "cam1", "-e", "ipc:///tmp/x", "-d"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->label, "cam1");
    EXPECT_EQ(options->endpoint, "ipc:///tmp/x");
    EXPECT_TRUE(options->daemon);
    EXPECT_EQ(options->setupTimeout, std::chrono::seconds(10));
}

TEST_F(LauncherOptionsTest, TakesLongNames) {
    const auto options =
        parse({"--label", "a", "--endpoint", "e", "--setup-timeout", "0.5", "--log-folder", "/x"});
    ASSERT_TRUE(options);
    EXPECT_FALSE(options->daemon);
    EXPECT_EQ(options->setupTimeout, std::chrono::milliseconds(500));
    EXPECT_EQ(options->logFolder, "/x");
}

TEST_F(LauncherOptionsTest, ALabelMayLookLikeAnythingAtAll) {
    const std::string longLabel(100'000, 'x');
    for (const char* label :
         {"-d", "--help", "-e", "--", "", "a b\nc", "[a,b]", "\"q\"", "%", longLabel.c_str()}) {
        const auto options = parse({"-l", label, "-e", "endpoint"});
        ASSERT_TRUE(options) << label;
        EXPECT_EQ(options->label, label);
        EXPECT_EQ(options->endpoint, "endpoint");
        EXPECT_FALSE(options->daemon);
    }
}

TEST_F(LauncherOptionsTest, HelpEndsWellAndWrongOptionsDoNot) {
    EXPECT_FALSE(parse({"--help"}));
    EXPECT_EQ(lines.exitStatus, 0);
    EXPECT_FALSE(parse({}));
    EXPECT_EQ(lines.exitStatus, 2);
    EXPECT_FALSE(parse({"-e", "x", "--nonsense"}));
    EXPECT_EQ(lines.exitStatus, 2);
    EXPECT_FALSE(parse({"-e", "x", "--setup-timeout", "-1"}));
    EXPECT_FALSE(parse({"-e", "x", "--setup-timeout", "nan"}));
    EXPECT_FALSE(parse({"-e", "x", "--setup-timeout", "3601"}));
    EXPECT_EQ(lines.exitStatus, 2);
}

}  // namespace
}  // namespace tarn::peers
