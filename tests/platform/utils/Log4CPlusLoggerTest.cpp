#include "platform/utils/Log4CPlusLogger.h"

#include <gmock/gmock.h>

#include "platform/utils/Log.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::utils {

using testing::HasSubstr;

class Log4CPlusLogger : public testing::Test {
  protected:
    ~Log4CPlusLogger() override { setLogSink(nullptr); }

    std::string logFile() const { return (folder.path() / "out.log").string(); }

    test::TemporaryFolder folder;
};

TEST_F(Log4CPlusLogger, FollowsTheConfigurationFile) {
    const auto config =
        folder.write("logger.config",
                     "log4cplus.logger.halden-a=WARN, FILE\n"
                     "log4cplus.appender.FILE=log4cplus::FileAppender\n"
                     "log4cplus.appender.FILE.File=" +
                         logFile() +
                         "\n"
                         "log4cplus.appender.FILE.ImmediateFlush=true\n"
                         "log4cplus.appender.FILE.layout=log4cplus::PatternLayout\n"
                         "log4cplus.appender.FILE.layout.ConversionPattern=%p|%m%n\n");
    registerLog4CPlusLogger("halden-a", config);
    EXPECT_FALSE(isLogEnabled(LogLevel::Info));
    logInfo("too low");
    logError("a text with %d");
    EXPECT_EQ(test::readFile(logFile()), "ERROR|a text with %d\n");
}

TEST_F(Log4CPlusLogger, LogsToTheConsoleAndWarnsWhenTheFileIsMissing) {
    testing::internal::CaptureStderr();
    registerLog4CPlusLogger("halden-b", "/nonexistent/logger.config");
    logInfo("still here");
    const auto output = testing::internal::GetCapturedStderr();
    EXPECT_THAT(output,
                HasSubstr("WARN  Cannot read logger configuration /nonexistent/logger.config"));
    EXPECT_THAT(output, HasSubstr("INFO  still here"));
}

TEST_F(Log4CPlusLogger, LogsToTheConsoleAndWarnsWhenTheFileNamesNoAppender) {
    testing::internal::CaptureStderr();
    registerLog4CPlusLogger("halden-c", folder.write("logger.config", "\x01\xff garbage"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("has no appender for halden-c"));
}

}  // namespace tarn::utils
