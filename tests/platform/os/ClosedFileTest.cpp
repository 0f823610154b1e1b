#include "platform/os/ClosedFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/TemporaryFolder.h"

namespace tarn::os {

namespace {

unsigned modeOf(const std::filesystem::path& path) {
    struct stat facts {};
    EXPECT_EQ(::lstat(path.c_str(), &facts), 0) << path;
    return facts.st_mode & 07777U;
}

class ClosedFilesTest : public testing::Test {
  protected:
    ClosedFilesTest() { ::umask(0); }
    ~ClosedFilesTest() override { ::umask(before); }

    std::string pathOf(const std::string& name) const { return (folder.path() / name).string(); }

    const mode_t before = ::umask(0);
    const test::TemporaryFolder folder;
};

}  // namespace

TEST_F(ClosedFilesTest, AreMadeClosedWhateverTheUmask) {
    EXPECT_TRUE(openClosed(pathOf("state"), O_RDWR).isOpen());
    EXPECT_EQ(modeOf(pathOf("state")), 0640U);
    EXPECT_TRUE(openClosed(pathOf("lock"), O_RDWR, privateFile).isOpen());
    EXPECT_EQ(modeOf(pathOf("lock")), 0600U);
}

TEST_F(ClosedFilesTest, AreNeverOpenedFurther) {
    ::umask(0077);
    EXPECT_TRUE(openClosed(pathOf("state"), O_RDWR).isOpen());
    EXPECT_TRUE(openClosed(pathOf("state"), O_RDWR).isOpen());
    closeToOthers(pathOf("state"), closedFile);
    EXPECT_EQ(modeOf(pathOf("state")), 0600U);
}

TEST_F(ClosedFilesTest, OfAnOlderVersionAreClosedWhenTheyAreUsedAgain) {
    const auto old = folder.write("old", "content");
    ::chmod(old.c_str(), 0666);
    EXPECT_TRUE(openClosed(old, O_RDWR).isOpen());
    EXPECT_EQ(modeOf(old), 0640U);
    EXPECT_EQ(test::readFile(old), "content");
}

TEST_F(ClosedFilesTest, KeepWhatIsNoPermission) {
    ASSERT_EQ(::mkdir(pathOf("sticky").c_str(), 0777), 0);
    ::chmod(pathOf("sticky").c_str(), 03777);
    closeToOthers(pathOf("sticky"), closedFolder);
    EXPECT_EQ(modeOf(pathOf("sticky")), 03750U);
}

TEST_F(ClosedFilesTest, AreNotReachedThroughALink) {
    const auto target = folder.write("target", "");
    ::chmod(target.c_str(), 0644);
    std::filesystem::create_symlink(target, pathOf("link"));
    EXPECT_FALSE(openClosed(pathOf("link"), O_RDWR).isOpen());
    EXPECT_EQ(errno, ELOOP);
    closeToOthers(pathOf("link"), closedFile);
    EXPECT_EQ(modeOf(target), 0644U);
}

TEST_F(ClosedFilesTest, LieInFoldersThatAreMadeClosed) {
    EXPECT_TRUE(makeClosedFolders(pathOf("a/b/c")));
    EXPECT_EQ(modeOf(pathOf("a")), 0750U);
    EXPECT_EQ(modeOf(pathOf("a/b/c")), 0750U);
    EXPECT_TRUE(makeClosedFolders(pathOf("a/b")));
    folder.write("file", "");
    EXPECT_FALSE(makeClosedFolders(pathOf("file/below")));
}

}  // namespace tarn::os
