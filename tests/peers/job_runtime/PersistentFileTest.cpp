#include "peers/job_runtime/PersistentFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

namespace fs = std::filesystem;

struct PersistentFileTest : testing::Test {
    tarn::test::TemporaryFolder folder;
    const std::string path = (folder.path() / "job").string();

    auto entries() const {
        return std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator());
    }
};

TEST_F(PersistentFileTest, WritesTheWholeContentAndNothingBesides) {
    const std::string content("a\0b", 3);
    PersistentFile(path).write(content);
    EXPECT_EQ(tarn::test::readFile(path), content);
    EXPECT_EQ(entries(), 1);
}

TEST_F(PersistentFileTest, ReplacesAnOlderFile) {
    const PersistentFile file(path);
    file.write("a longer content");
    file.write("new");
    EXPECT_EQ(tarn::test::readFile(path), "new");
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
    EXPECT_EQ(entries(), 1);
}

}  // namespace
}  // namespace tarn::peers
