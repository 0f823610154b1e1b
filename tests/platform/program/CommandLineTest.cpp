#include "platform/program/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

#include "tests/support/CommandLines.h"

namespace tarn::program {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

struct CommandLineTest : testing::Test {
    test::CommandLines lines{"/opt/halden/bin/tarnThing"};
    int size = 1;
    std::function<void()> complete;

    bool parse(const std::vector<const char*>& words) {
        return lines.parse(
            [&](CommandLine& line) {
                CLI::App app("Does a thing");
                app.add_option("--size", size, "How large");
                return line.parse(app, complete);
            },
            words);
    }
};

TEST_F(CommandLineTest, AGoodLineGoesOnAndSaysNothing) {
    EXPECT_TRUE(parse({"--size", "7"}));
    EXPECT_EQ(size, 7);
    EXPECT_EQ(lines.out + lines.err, "");
}

TEST_F(CommandLineTest, HelpAndVersionAreStatusZeroOnTheOutput) {
    EXPECT_FALSE(parse({"--help"}));
    EXPECT_EQ(lines.exitStatus, 0);
    EXPECT_THAT(lines.out, HasSubstr("Usage: tarnThing"));
    EXPECT_FALSE(parse({"--version"}));
    EXPECT_EQ(lines.exitStatus, 0);
    EXPECT_THAT(lines.out, MatchesRegex("tarnThing [0-9.]+\n"));
    EXPECT_EQ(lines.err, "");
}

TEST_F(CommandLineTest, WhatMakesNoSenseIsOneEscapedLineAndStatusTwo) {
    const std::string endless(100'000, 'x');
    const std::vector<std::vector<const char*>> bad = {
        {"--nonsense"}, {"nonsense"}, {"--size"}, {"--size", "\x1b[31m\n"}, {endless.c_str()}};
    for (const auto& words : bad) {
        EXPECT_FALSE(parse(words));
        EXPECT_EQ(lines.exitStatus, 2);
        EXPECT_EQ(lines.out, "");
        EXPECT_THAT(lines.err, testing::StartsWith("tarnThing: "));
        EXPECT_EQ(std::count(lines.err.begin(), lines.err.end(), '\n'), 1) << lines.err;
        EXPECT_EQ(lines.err.find('\x1b'), std::string::npos);
        EXPECT_LT(lines.err.size(), 1000U);
    }
}

TEST_F(CommandLineTest, WhatNeedsSeveralOptionsMayComplain) {
    complete = [] { throw std::invalid_argument("too large for a thing"); };
    EXPECT_FALSE(parse({}));
    EXPECT_EQ(lines.exitStatus, 2);
    EXPECT_EQ(lines.err, "tarnThing: too large for a thing\n");
    complete = [] { throw CLI::RequiredError("--size"); };
    EXPECT_FALSE(parse({}));
    EXPECT_EQ(lines.err, "tarnThing: --size is required (see tarnThing --help)\n");
}

TEST_F(CommandLineTest, HelpIsGivenWhateverElseIsWrong) {
    complete = [] { throw std::invalid_argument("never asked"); };
    EXPECT_FALSE(parse({"--help"}));
    EXPECT_EQ(lines.exitStatus, 0);
}

TEST(ParseArgumentsTest, NamesAnUnknownCommand) {
    CLI::App app("Does things", "tarnThing");
    app.require_subcommand(1);
    app.add_subcommand("known");
    const auto end = parseArguments(app, {"unknown"});
    ASSERT_TRUE(end);
    EXPECT_EQ(end->exitStatus, usageError);
    EXPECT_EQ(end->text, "unknown command \"unknown\" (see tarnThing --help)");
}

}  // namespace
}  // namespace tarn::program
