#include "cli/jobs/LogFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "cli/CommandError.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::cli {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct LogFileTest : testing::Test {
    test::TemporaryFolder folder;
    const std::string path = (folder.path() / "job.log").string();

    void append(const std::string& text) const {
        std::ofstream(path, std::ios::binary | std::ios::app) << text;
    }
    // As the job does it.
    void replace() const {
        std::filesystem::rename(path, path + ".1");
        std::ofstream(path, std::ios::binary);
    }
};

TEST_F(LogFileTest, GivesTheLastLines) {
    append("one\ntwo\nthree\n");
    EXPECT_THAT(LogFile(path).lastLines(2), ElementsAre("two", "three"));
    EXPECT_THAT(LogFile(path).lastLines(9), ElementsAre("one", "two", "three"));
    EXPECT_THAT(LogFile(path).lastLines(0), IsEmpty());
}

TEST_F(LogFileTest, GoesBackToTheFileBeforeWhereThisOneHasTooFew) {
    append("one\ntwo\n");
    replace();
    append("three\n");
    EXPECT_THAT(LogFile(path).lastLines(2), ElementsAre("two", "three"));
    EXPECT_THAT(LogFile(path).lastLines(1), ElementsAre("three"));
}

TEST_F(LogFileTest, GivesWhatIsAddedLineByLine) {
    append("one\n");
    LogFile log(path);
    log.lastLines(0);
    append("two\nhal");
    EXPECT_THAT(log.newLines(), ElementsAre("two"));
    EXPECT_THAT(log.newLines(), IsEmpty());
    append("f\n");
    EXPECT_THAT(log.newLines(), ElementsAre("half"));
}

TEST_F(LogFileTest, LosesNothingWhenTheFileIsReplaced) {
    append("one\n");
    LogFile log(path);
    log.lastLines(9);
    append("two\n");
    replace();
    append("three\n");
    EXPECT_THAT(log.newLines(), ElementsAre("two", "three"));
    append("four\n");
    EXPECT_THAT(log.newLines(), ElementsAre("four"));
}

TEST_F(LogFileTest, BeginsAgainWhenTheFileIsEmptied) {
    append("a long line\n");
    LogFile log(path);
    log.lastLines(9);
    std::filesystem::resize_file(path, 0);
    append("new\n");
    EXPECT_THAT(log.newLines(), ElementsAre("new"));
}

TEST_F(LogFileTest, CutsALineWithoutEnd) {
    append(std::string(LogFile::longestLine * 2, 'x') + "\nnext\n");
    const auto lines = LogFile(path).lastLines(9);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].size(), LogFile::longestLine);
    EXPECT_EQ(lines[1], "next");
}

TEST_F(LogFileTest, ReadsOnlyTheEndOfAHugeFile) {
    append("begin\n");
    std::filesystem::resize_file(path, std::uintmax_t{1} << 30U);
    append("\nend\n");
    EXPECT_EQ(LogFile(path).lastLines(9).back(), "end");
}

TEST_F(LogFileTest, WhatIsNoFileIsRefusedAtOnce) {
    EXPECT_THROW(LogFile{path}, CommandError);
    EXPECT_THROW(LogFile{folder.path().string()}, CommandError);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_THROW(LogFile{path}, CommandError);
}

}  // namespace
}  // namespace tarn::cli
