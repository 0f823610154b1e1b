#include "service/runtime/CommandLine.h"

#include <gmock/gmock.h>

namespace tarn::service {

TEST(CommandLineTest, WithoutArgumentsAsksForNothing) {
    const char* const arguments[] = {"TarnService"};
    testing::internal::CaptureStdout();
    EXPECT_FALSE(printHelpIfAskedFor(1, arguments));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(CommandLineTest, PrintsTheOptionsWhenAskedForHelp) {
    const char* const arguments[] = {"TarnService", "--help"};
    testing::internal::CaptureStdout();
    EXPECT_TRUE(printHelpIfAskedFor(2, arguments));
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex("Allowed options:\n  --help +Produce help message\n\n"));
}

TEST(CommandLineTest, ThrowsForAnythingElse) {
    const char* const arguments[] = {"TarnService", "--nonsense"};
    EXPECT_THROW(printHelpIfAskedFor(2, arguments), std::exception);
}

}  // namespace tarn::service
