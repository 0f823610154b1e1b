#include "platform/utils/FileReplacement.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>

#include "tests/support/TemporaryFolder.h"

namespace tarn::utils {

class FileReplacementTest : public testing::Test {
  protected:
    long files() const {
        return std::distance(std::filesystem::directory_iterator(folder.path()), {});
    }

    const test::TemporaryFolder folder;
    const std::string path = (folder.path() / "file").string();
};

TEST_F(FileReplacementTest, MakesAFileThatEverybodyCanRead) {
    FileReplacement(path).commit("content");
    EXPECT_EQ(test::readFile(path), "content");
    struct stat facts {};
    ASSERT_EQ(::stat(path.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0644U);
}

TEST_F(FileReplacementTest, LeavesTheOldContentAsItIsUntilItIsCommitted) {
    folder.write("file", "old");
    {
        FileReplacement replacement(path);
        EXPECT_EQ(test::readFile(path), "old");
    }
    EXPECT_EQ(test::readFile(path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(FileReplacementTest, TakesThePlaceOfTheOldContentAsAWhole) {
    folder.write("file", std::string(10'000, 'x'));
    FileReplacement replacement(path);
    replacement.commit(std::string(1'000'000, 'y'));
    EXPECT_EQ(test::readFile(path), std::string(1'000'000, 'y'));
    EXPECT_EQ(files(), 1);
}

TEST_F(FileReplacementTest, ThrowsWithoutAFolder) {
    EXPECT_THROW(FileReplacement((folder.path() / "none" / "file").string()), std::system_error);
}

TEST_F(FileReplacementTest, ThrowsAndLeavesNothingWhenThePlaceIsTaken) {
    std::filesystem::create_directory(path);
    {
        FileReplacement replacement(path);
        EXPECT_THROW(replacement.commit("content"), std::system_error);
    }
    EXPECT_EQ(files(), 1);
}

}  // namespace tarn::utils
