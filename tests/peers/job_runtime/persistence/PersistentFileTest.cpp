#include "peers/job_runtime/persistence/PersistentFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

namespace fs = std::filesystem;

struct PersistentFileTest : testing::Test {
    tarn::test::TemporaryFolder folder;
    const std::string path = (folder.path() / "job").string();

    // What the service would see there; it does not look into folders.
    auto entries() const {
        return std::count_if(
            fs::directory_iterator(folder.path()), fs::directory_iterator(),
            [](const fs::directory_entry& entry) { return entry.is_regular_file(); });
    }

    auto filesInFolders() const {
        return std::count_if(
                   fs::recursive_directory_iterator(folder.path()),
                   fs::recursive_directory_iterator(),
                   [](const fs::directory_entry& entry) { return entry.is_regular_file(); }) -
               entries();
    }
};

TEST_F(PersistentFileTest, WritesTheWholeContentAndNothingBesides) {
    const std::string content("a\0b", 3);
    PersistentFile(path).write(content);
    EXPECT_EQ(tarn::test::readFile(path), content);
    EXPECT_EQ(entries(), 1);
    EXPECT_EQ(filesInFolders(), 0);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(PersistentFileTest, ReplacesAnOlderFile) {
    const PersistentFile file(path);
    file.write("a longer content");
    file.write("new");
    EXPECT_EQ(tarn::test::readFile(path), "new");
}

TEST_F(PersistentFileTest, CreatesWhereNothingIsAndReplacesNothing) {
    const std::string path = (folder.path() / "job").string();
    EXPECT_TRUE(PersistentFile(path).create("first"));
    EXPECT_FALSE(PersistentFile(path, "another").create("second"));
    EXPECT_EQ(PersistentFile(path).read(), "first");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path() / ".incomplete"));
}

TEST_F(PersistentFileTest, RemovingIsDoneWhenThereIsNothing) {
    const PersistentFile file(path);
    file.write("x");
    file.remove();
    EXPECT_EQ(entries(), 0);
    EXPECT_NO_THROW(file.remove());
}

TEST_F(PersistentFileTest, RefusesARelativePathAndOneWithoutAName) {
    EXPECT_THROW(PersistentFile("jobs/x"), std::invalid_argument);
    EXPECT_THROW(PersistentFile(""), std::invalid_argument);
    EXPECT_THROW(PersistentFile(folder.path().string() + "/"), std::invalid_argument);
    EXPECT_THROW(PersistentFile(path + std::string("\0x", 2)), std::invalid_argument);
}

TEST_F(PersistentFileTest, RefusesAFolderThatDoesNotExistOrIsAFile) {
    EXPECT_THROW(PersistentFile(path + "/none/x"), std::invalid_argument);
    EXPECT_THROW(PersistentFile(folder.write("file", "") + "/x"), std::invalid_argument);
}

TEST_F(PersistentFileTest, LeavesNothingBehindWhenTheFileCannotBePutInItsPlace) {
    fs::create_directory(path);
    EXPECT_THROW(PersistentFile(path).write("x"), std::system_error);
    EXPECT_EQ(entries(), 0);
    EXPECT_EQ(filesInFolders(), 0);
}

TEST_F(PersistentFileTest, ADraftThatACrashLeftIsNoJobAndGoesWithTheNextWritingOrRemoving) {
    fs::create_directory(folder.path() / ".incomplete");
    const std::string draft = ".incomplete/job";
    folder.write(draft, "half");
    EXPECT_EQ(entries(), 0);
    PersistentFile(path).write("whole");
    EXPECT_EQ(tarn::test::readFile(path), "whole");
    EXPECT_EQ(filesInFolders(), 0);

    folder.write(draft, "half");
    PersistentFile(path).remove();
    EXPECT_EQ(entries() + filesInFolders(), 0);
}

TEST_F(PersistentFileTest, WritesThroughNoLinkThatLiesWhereTheDraftGoes) {
    const auto victim = folder.write("victim", "mine");
    fs::create_directory(folder.path() / ".incomplete");
    fs::create_symlink(victim, folder.path() / ".incomplete" / "job");
    EXPECT_THROW(PersistentFile(path).write("x"), std::system_error);
    EXPECT_EQ(tarn::test::readFile(victim), "mine");
    EXPECT_NO_THROW(PersistentFile(path).write("x"));
}

}  // namespace
}  // namespace tarn::peers
