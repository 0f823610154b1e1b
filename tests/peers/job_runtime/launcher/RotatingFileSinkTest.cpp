#include "peers/job_runtime/launcher/RotatingFileSink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

namespace fs = std::filesystem;
using tarn::test::readFile;
using tarn::utils::LogLevel;

struct RotatingFileSinkTest : testing::Test {
    const test::TemporaryFolder folder;
    const std::string path = (folder.path() / "job.log").string();
    const std::string older = path + ".1";

    // Of 99 bytes each, with their time, level and line end.
    static void writeLines(RotatingFileSink& sink, int count) {
        for (int n = 0; n < count; ++n) {
            sink.write(LogLevel::Info, std::string(68, 'x'));
        }
    }
    static long linesIn(const std::string& file) {
        const auto text = readFile(file);
        return std::count(text.begin(), text.end(), '\n');
    }
};

TEST_F(RotatingFileSinkTest, AppendsToWhatIsThere) {
    folder.write("job.log", "before\n");
    RotatingFileSink sink(path, 1000);
    EXPECT_TRUE(sink.isEnabled(LogLevel::Trace));
    sink.write(LogLevel::Trace, "a text");
    EXPECT_TRUE(readFile(path).starts_with("before\n"));
    EXPECT_TRUE(readFile(path).ends_with(" TRACE a text\n"));
    EXPECT_FALSE(fs::exists(older));
}

TEST_F(RotatingFileSinkTest, BeginsAnewBeforeTheFileBecomesTooLarge) {
    RotatingFileSink sink(path, 991);  // 9 lines, one more, and the byte that may be missing
    writeLines(sink, 10);
    EXPECT_FALSE(fs::exists(older));
    writeLines(sink, 1);
    EXPECT_EQ(linesIn(older), 10);
    EXPECT_EQ(linesIn(path), 1);
    writeLines(sink, 10);
    EXPECT_EQ(linesIn(older), 10);
    EXPECT_EQ(linesIn(path), 1);
}

TEST_F(RotatingFileSinkTest, CountsWhatItFoundInTheFile) {
    folder.write("job.log", std::string(1000, 'x'));
    RotatingFileSink sink(path, 1000);
    writeLines(sink, 1);
    EXPECT_EQ(readFile(older).size(), 1000U);
    EXPECT_EQ(linesIn(path), 1);
}

TEST_F(RotatingFileSinkTest, ALineThatIsTooLargeForAnyFileHasOneOfItsOwn) {
    RotatingFileSink sink(path, 10);
    writeLines(sink, 1);
    EXPECT_FALSE(fs::exists(older));
    EXPECT_EQ(linesIn(path), 1);
}

TEST_F(RotatingFileSinkTest, IsEmptiedWhereItCannotBeRenamed) {
    fs::create_directory(older);
    folder.write("job.log.1/in the way", "");
    RotatingFileSink sink(path, 1000);
    writeLines(sink, 11);
    EXPECT_LT(linesIn(path), 10);
}

TEST_F(RotatingFileSinkTest, ThrowsWithoutAFolder) {
    EXPECT_THROW(RotatingFileSink("/nonexistent/job.log", 1000), std::runtime_error);
}

}  // namespace
}  // namespace tarn::peers
