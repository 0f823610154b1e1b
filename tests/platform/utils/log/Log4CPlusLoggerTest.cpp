#include "platform/utils/log/Log4CPlusLogger.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "platform/utils/Log.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::utils {

using testing::HasSubstr;

class Log4CPlusLoggerTest : public testing::Test {
  protected:
    ~Log4CPlusLoggerTest() override { setLogSink(nullptr); }

    std::string logFile() const { return (folder.path() / "out.log").string(); }

    test::TemporaryFolder folder;
};

TEST_F(Log4CPlusLoggerTest, FollowsTheConfigurationFile) {
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

// Pipelines and addresses stand in it, and who may read it reads along.
TEST_F(Log4CPlusLoggerTest, ClosesItsFilesToOthersAlsoTheOlderOnes) {
    namespace fs = std::filesystem;
    const auto modeOf = [](const fs::path& file) { return fs::status(file).permissions(); };
    const auto log = folder.path() / "made" / "out.log";
    const auto config = folder.write("logger.config",
                                     "log4cplus.logger.halden-f=INFO, FILE\n"
                                     "log4cplus.appender.FILE=log4cplus::RollingFileAppender\n"
                                     "log4cplus.appender.FILE.MaxFileSize=200KB\n"
                                     "log4cplus.appender.FILE.MaxBackupIndex=3\n"
                                     "log4cplus.appender.FILE.CreateDirs=true\n"
                                     "log4cplus.appender.FILE.File=" +
                                         log.string() + "\n");
    const auto before = ::umask(0);
    fs::create_directory(log.parent_path());
    folder.write("made/out.log", "from long ago\n");
    folder.write("made/out.log.3", "from longer ago\n");
    registerLog4CPlusLogger("halden-f", config);
    EXPECT_EQ(modeOf(log), fs::perms(0640));
    EXPECT_EQ(modeOf(log.string() + ".3"), fs::perms(0640));
    fs::remove(log.string() + ".3");
    for (int line = 0; line < 3; ++line) {
        logInfo(std::string(150000, 'x'));
    }
    EXPECT_EQ(modeOf(log.string() + ".1"), fs::perms(0640));
    EXPECT_EQ(modeOf(log), fs::perms(0640));
    EXPECT_EQ(::umask(before), 0U) << "the process's own is as before";
}

namespace {

/// Standard error leads into a pipe that nobody reads.
class UnreadStandardError {
  public:
    UnreadStandardError() {
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        ::dup2(ends[1], STDERR_FILENO);
    }
    ~UnreadStandardError() {
        ::dup2(before, STDERR_FILENO);
        for (const int descriptor : {before, ends[0], ends[1]}) {
            ::close(descriptor);
        }
    }

  private:
    const int before = ::dup(STDERR_FILENO);
    std::array<int, 2> ends{};
};

}  // namespace

// Both end only if no line waits for the reader.
TEST_F(Log4CPlusLoggerTest, HoldsNobodyUpWhereTheConfiguredConsoleIsNotRead) {
    const auto config =
        folder.write("logger.config",
                     "log4cplus.logger.halden-d=INFO, CONSOLE, FILE\n"
                     "log4cplus.appender.CONSOLE=log4cplus::ConsoleAppender\n"
                     "log4cplus.appender.CONSOLE.logToStdErr=true\n"
                     "log4cplus.appender.CONSOLE.layout=log4cplus::PatternLayout\n"
                     "log4cplus.appender.CONSOLE.layout.ConversionPattern=%p|%m%n\n"
                     "log4cplus.appender.FILE=log4cplus::FileAppender\n"
                     "log4cplus.appender.FILE.File=" +
                         logFile() +
                         "\nlog4cplus.appender.FILE.layout=log4cplus::PatternLayout\n"
                         "log4cplus.appender.FILE.layout.ConversionPattern=%p|%m%n\n");
    const UnreadStandardError standardError;
    registerLog4CPlusLogger("halden-d", config);
    for (int i = 0; i < 100; ++i) {
        logInfo(std::string(9999, 'x'));
    }
    closeLog4CPlusLogger();
    EXPECT_EQ(test::readFile(logFile()).size(), 100U * 10005);
}

TEST_F(Log4CPlusLoggerTest, HoldsNobodyUpWhereTheConsoleOfLastResortIsNotRead) {
    const UnreadStandardError standardError;
    registerLog4CPlusLogger("halden-e", "/nonexistent/logger.config");
    for (int i = 0; i < 100; ++i) {
        logInfo(std::string(9999, 'x'));
    }
    closeLog4CPlusLogger();
}

TEST_F(Log4CPlusLoggerTest, LogsToTheConsoleAndWarnsWhenTheFileIsMissing) {
    testing::internal::CaptureStderr();
    registerLog4CPlusLogger("halden-b", "/nonexistent/logger.config");
    logInfo("still here");
    const auto output = testing::internal::GetCapturedStderr();
    EXPECT_THAT(output,
                HasSubstr("WARN  Cannot read logger configuration /nonexistent/logger.config"));
    EXPECT_THAT(output, HasSubstr("INFO  still here"));
}

TEST_F(Log4CPlusLoggerTest, LogsToTheConsoleAndWarnsWhenTheFileNamesNoAppender) {
    testing::internal::CaptureStderr();
    registerLog4CPlusLogger("halden-c", folder.write("logger.config", "\x01\xff garbage"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("has no appender for halden-c"));
}

}  // namespace tarn::utils
