#include "platform/utils/Log.h"

#include <gmock/gmock.h>

#include "platform/utils/log/StreamLogSink.h"
#include "tests/support/LogCapture.h"

namespace tarn::utils {

using testing::ElementsAre;

TEST(LogTest, GivesEachLineToTheSinkWithItsLevel) {
    const test::LogCapture capture;
    logTrace("a");
    logDebug("b");
    logInfo("c");
    logWarning("d");
    logError("e");
    logFatal("f");
    EXPECT_THAT(capture.lines(),
                ElementsAre("TRACE a", "DEBUG b", "INFO c", "WARN d", "ERROR e", "FATAL f"));
}

TEST(LogTest, DropsLinesBelowTheLevelOfTheSink) {
    const test::LogCapture capture(LogLevel::Warning);
    EXPECT_FALSE(isLogEnabled(LogLevel::Info));
    EXPECT_TRUE(isLogEnabled(LogLevel::Warning));
    logInfo("no");
    logWarning("yes");
    EXPECT_THAT(capture.lines(), ElementsAre("WARN yes"));
}

TEST(LogTest, DiscardsEverythingWithoutASink) {
    const auto previous = setLogSink(nullptr);
    EXPECT_FALSE(isLogEnabled(LogLevel::Fatal));
    logFatal("nobody reads this");
    setLogSink(previous);
}

TEST(LogTest, MakesOneLineOfWhatComesFromOutside) {
    const test::LogCapture capture;
    logError("Device cam\n2026-11-21 10:00:00,123 FATAL forged\x1b[2J\xc2\x9b\xff");
    EXPECT_THAT(capture.lines(),
                ElementsAre("ERROR Device cam\\n2026-11-21 10:00:00,123 FATAL forged\\x1b[2J"
                            "\\x9b\\xff"));
}

TEST(LogTest, LeavesTabsAndWhatIsEscapedAlready) {
    const test::LogCapture capture;
    logError(
        "\tError: C:\\n \\x1b Gr\xc3\xb6\xc3\x9f"
        "e");
    EXPECT_THAT(capture.lines(), ElementsAre("ERROR \tError: C:\\n \\x1b Gr\xc3\xb6\xc3\x9f"
                                             "e"));
}

TEST(StreamLogSinkTest, WritesStampLevelAndTextOnOneLine) {
    std::FILE* const file = std::tmpfile();
    StreamLogSink(file, LogLevel::Info).write(LogLevel::Warning, "100 %s");
    std::rewind(file);
    char line[200] = {};
    ASSERT_NE(std::fgets(line, sizeof line, file), nullptr);
    EXPECT_THAT(line, testing::ContainsRegex("^[0-9-]{10} [0-9:]{8},[0-9]{3} WARN  100 %s\n$"));
    EXPECT_EQ(std::fgetc(file), EOF);
    std::fclose(file);
}

}  // namespace tarn::utils
