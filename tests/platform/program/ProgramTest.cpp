#include "platform/program/Program.h"

#include <gtest/gtest.h>

#include <signal.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/support/LogCapture.h"

namespace tarn::program {
namespace {

// What setUpProcess does is for good, so it is tried in a process that ends.
int runProgram(const std::function<int(int)>& body, bool lineIsGood = true) {
    const char* const words[] = {"tarnThing", "7"};
    return run(
        2, words, [&](CommandLine&) { return lineIsGood ? std::optional(7) : std::nullopt; }, body);
}

TEST(ProgramDeathTest, TheBodyGetsTheOptionsAndItsStatusIsTheProgramsOne) {
    EXPECT_EXIT(std::exit(runProgram([](int option) { return option == 7 ? 3 : 4; })),
                testing::ExitedWithCode(3), "");
}

TEST(ProgramDeathTest, WithoutOptionsNothingRuns) {
    EXPECT_EXIT(std::exit(runProgram([](int) { return 3; }, /*lineIsGood=*/false)),
                testing::ExitedWithCode(0), "");
}

TEST(ProgramDeathTest, WhatTheBodyThrowsIsTheLastLineAndStatusOne) {
    const auto body = [](int) -> int { throw std::runtime_error("the disk is gone"); };
    EXPECT_EXIT(std::exit(runProgram(body)), testing::ExitedWithCode(1), "the disk is gone");
}

TEST(ProgramDeathTest, AReaderThatHasGoneDoesNotEndIt) {
    const auto body = [](int) { return ::raise(SIGPIPE) == 0 ? 5 : 6; };
    EXPECT_EXIT(std::exit(runProgram(body)), testing::ExitedWithCode(5), "");
}

TEST(RunBodyTest, LogsWhatIsThrown) {
    test::LogCapture log;
    EXPECT_EQ(runBody([]() -> int { throw std::runtime_error("no room"); }), failed);
    EXPECT_TRUE(log.has("FATAL no room"));
    EXPECT_EQ(runBody([] { return 4; }), 4);
}

}  // namespace
}  // namespace tarn::program
