#include "cli/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/commands/Commands.h"
#include "tests/cli/TarnctlFixture.h"

namespace tarn::cli {

using namespace std::string_literals;

using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string id = firstId;

// Nothing listens here; a line that gets as far as asking has the status NoAnswer.
const std::string nobody = test::newEndpoint();

CommandResult withoutService(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--endpoint", nobody, "--timeout", "5"});
    return runLine(arguments);
}

class UsageErrorsTest : public testing::TestWithParam<std::vector<std::string>> {};

}  // namespace

TEST_P(UsageErrorsTest, AreOneLineAndStatusTwo) {
    const CommandResult run = runLine(GetParam());
    EXPECT_EQ(run.status, ExitStatus::Usage);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("tarnctl: "));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, UsageErrorsTest,
    testing::Values(
        std::vector<std::string>{}, std::vector<std::string>{"nonsense"},
        std::vector<std::string>{"info", "--nonsense"}, std::vector<std::string>{"jobs"},
        std::vector<std::string>{"jobs", "nonsense"}, std::vector<std::string>{"jobs", "show"},
        std::vector<std::string>{"jobs", "show", id, id},
        std::vector<std::string>{"jobs", "list", "--property", "a"},
        std::vector<std::string>{"jobs", "list", "--value", "a"},
        std::vector<std::string>{"jobs", "submit"},
        std::vector<std::string>{"jobs", "submit", "--pipeline"},
        std::vector<std::string>{"jobs", "submit", "--pipeline", "p", "--id", "x"},
        std::vector<std::string>{"jobs", "submit", "--pipeline", "p", "--property", "x"},
        std::vector<std::string>{"jobs", "submit", "--pipeline", "p", "--property", "=x"},
        std::vector<std::string>{"jobs", "submit", "--pipeline", "p", "--persistent-name", "n"},
        std::vector<std::string>{"jobs", "submit", "--pipeline", "p", "--persistent",
                                 "--persistent-name", "../n"},
        std::vector<std::string>{"jobs", "submit", "--pipeline", "p", "--persistent",
                                 "--persistent-name", ".incomplete"},
        std::vector<std::string>{"jobs", "submit", "--pipeline", "p", "--persistent",
                                 "--persistent-name", ".."},
        std::vector<std::string>{"jobs", "stop"}, std::vector<std::string>{"jobs", "watch"},
        std::vector<std::string>{"engines", "submit", "--name", "n"},
        std::vector<std::string>{"engines", "submit", "--name", "n", "--settings", "s", "--option",
                                 "x"},
        std::vector<std::string>{"engines", "submit", "--name", "n", "--settings", "s", "--option",
                                 "2147483648"},
        std::vector<std::string>{"config", "check"},
        std::vector<std::string>{"info", "--endpoint", "nonsense"},
        std::vector<std::string>{"info", "--endpoint", "ipc:///tmp/\x1b[31m"},
        std::vector<std::string>{"info", "--timeout", "0"},
        std::vector<std::string>{"info", "--timeout", "-1"},
        std::vector<std::string>{"info", "--timeout", "nan"},
        std::vector<std::string>{"info", "--timeout", "inf"},
        std::vector<std::string>{"info", "--timeout", "5s"}));

TEST(CommandLineTest, NeverEchoesAControlCharacter) {
    for (const auto& line : {std::vector<std::string>{"\x1b[31m"}, {"info", "\x1b[31m"}}) {
        EXPECT_EQ(runLine(line).err.find('\x1b'), std::string::npos);
    }
}

TEST(CommandLineTest, NamesTheUnknownCommand) {
    EXPECT_EQ(runLine({"nonsense"}).err,
              "tarnctl: unknown command \"nonsense\" (see tarnctl --help)\n");
}

TEST(CommandLineTest, TakesGlobalOptionsInFrontOfAndBehindTheCommand) {
    const std::string expected = "tarnctl: no answer from " + nobody + " within 0.02 s\n";
    const std::string wait = "--wait-for-service";
    EXPECT_EQ(runLine({wait, "--endpoint", nobody, "--timeout", "0.02", "info"}).err, expected);
    EXPECT_EQ(runLine({"info", "--endpoint", nobody, "--timeout", "0.02", wait}).err, expected);
    EXPECT_EQ(runLine({"jobs", "--timeout", "0.02", "list", wait, "--endpoint", nobody}).err,
              expected);
}

TEST(CommandLineTest, HelpNamesEveryCommand) {
    for (const auto* const option : {"--help", "-h"}) {
        const CommandResult run = runLine({option});
        for (const auto* const name : {"info", "jobs", "engines", "devices", "tree", "events",
                                       "storage", "capture", "config"}) {
            EXPECT_THAT(run.out, HasSubstr("\n  "s + name)) << run.err;
        }
    }
}

TEST(CommandLineTest, HasHelpWithAnExampleForEveryCommand) {
    std::vector<std::vector<std::string>> commands = {{}};
    for (const CommandPlace& place : commandTable) {
        auto& words = commands.emplace_back();
        if (place.family != nullptr) {
            words.emplace_back(place.family);
        }
        words.push_back(place.row().name);
    }
    for (auto command : commands) {
        std::string name = "tarnctl";
        for (const auto& word : command) {
            name += " " + word;
        }
        command.emplace_back("--help");
        const CommandResult run = runLine(command);
        EXPECT_EQ(run.status, ExitStatus::Done);
        EXPECT_THAT(run.out, HasSubstr("Usage: " + name));
        EXPECT_THAT(run.out, HasSubstr("Example"));
        EXPECT_THAT(run.out, HasSubstr("  " + name));
        EXPECT_EQ(run.err, "");
    }
}

TEST(CommandLineTest, GivesItsVersion) {
    EXPECT_THAT(runLine({"--version"}).out, testing::MatchesRegex("tarnctl [0-9]+[.][0-9.]+\n"));
}

TEST(CommandLineTest, SaysWhenNobodyListens) {
    for (const auto& line : {std::vector<std::string>{"info"},
                             {"jobs", "list"},
                             {"jobs", "show", id},
                             {"jobs", "submit", "--pipeline", "p"},
                             {"jobs", "submit", "--pipeline", "p", "--wait"},
                             {"jobs", "watch", id},
                             {"jobs", "stop", id},
                             {"engines", "submit", "--name", "n", "--settings", "s"}}) {
        const CommandResult run = withoutService(line);
        EXPECT_EQ(run.status, ExitStatus::NoAnswer);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, "tarnctl: nobody listens on " + nobody + "\n");
    }
}

}  // namespace tarn::cli
