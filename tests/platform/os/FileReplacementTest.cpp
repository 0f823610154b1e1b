#include "platform/os/FileReplacement.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "tests/support/TemporaryFolder.h"

namespace tarn::os {

class FileReplacementTest : public testing::Test {
  protected:
    long files() const {
        return std::distance(std::filesystem::directory_iterator(folder.path()), {});
    }

    static FileReplacement::Options refusedWith(int failure) {
        return {.rename = [failure](const char*, const char*) {
            errno = failure;
            return -1;
        }};
    }

    ino_t number() const {
        struct stat facts {};
        ::stat(path.c_str(), &facts);
        return facts.st_ino;
    }

    const test::TemporaryFolder folder;
    const std::string path = (folder.path() / "file").string();
};

TEST_F(FileReplacementTest, MakesAFileThatEverybodyCanRead) {
    FileReplacement(path).commit("content");
    EXPECT_EQ(test::readFile(path), "content");
    struct stat facts {};
    ASSERT_EQ(::stat(path.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0640U);
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

TEST_F(FileReplacementTest, WritesAFileInPlaceThatCannotBeReplaced) {
    for (const int failure : {EBUSY, EXDEV}) {
        folder.write("file", std::string(10'000, 'x'));
        const auto before = number();
        FileReplacement(path, refusedWith(failure)).commit("shorter");
        EXPECT_EQ(test::readFile(path), "shorter");
        FileReplacement(path, refusedWith(failure)).commit(std::string(100'000, 'y'));
        EXPECT_EQ(test::readFile(path), std::string(100'000, 'y'));
        EXPECT_EQ(number(), before) << "it is another file";
        EXPECT_EQ(files(), 1) << "a temporary file is left";
    }
}

TEST_F(FileReplacementTest, LeavesTheOldContentWhenItCannotBeReplacedForAnotherReason) {
    folder.write("file", "old");
    EXPECT_THROW(FileReplacement(path, refusedWith(EIO)).commit("new"), std::system_error);
    EXPECT_EQ(test::readFile(path), "old");
    EXPECT_EQ(files(), 1);
}

TEST_F(FileReplacementTest, DoesNotFollowALinkInPlaceOfTheFile) {
    folder.write("other", "old");
    std::filesystem::create_symlink("other", path);
    EXPECT_THROW(FileReplacement(path, refusedWith(EBUSY)).commit("new"), std::system_error);
    EXPECT_EQ(test::readFile(folder.path() / "other"), "old");
}

class NamedDraftTest : public FileReplacementTest {
  protected:
    FileReplacement::Options named() const { return {.draft = draft, .mode = 0600}; }
    FileReplacement::Options refusedNamed(int failure) const {
        auto options = named();
        options.rename = refusedWith(failure).rename;
        return options;
    }

    const std::string draft = (folder.path() / "draft").string();
};

TEST_F(NamedDraftTest, TakesThePlaceWithTheModeThatWasAskedFor) {
    folder.write("file", "old");
    FileReplacement replacement(path, named());
    EXPECT_EQ(test::readFile(draft), "");
    replacement.commit("new");
    EXPECT_EQ(test::readFile(path), "new");
    struct stat facts {};
    ASSERT_EQ(::stat(path.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0600U);
    EXPECT_EQ(files(), 1);
}

TEST_F(NamedDraftTest, WritesOverWhatACrashHasLeftThere) {
    folder.write("draft", std::string(100, 'x'));
    FileReplacement(path, named()).commit("new");
    EXPECT_EQ(test::readFile(path), "new");
    EXPECT_EQ(files(), 1);
}

TEST_F(NamedDraftTest, IsNotWrittenThroughALinkWhichIsRemoved) {
    folder.write("other", "old");
    std::filesystem::create_symlink("other", draft);
    EXPECT_THROW(FileReplacement(path, named()), std::system_error);
    EXPECT_EQ(test::readFile(folder.path() / "other"), "old");
    FileReplacement(path, named()).commit("new");
    EXPECT_EQ(test::readFile(path), "new");
}

TEST_F(NamedDraftTest, IsGoneAfterAFailureAndNothingIsWrittenInPlace) {
    folder.write("file", "old");
    for (const int failure : {EBUSY, EXDEV, EIO}) {
        EXPECT_THROW(FileReplacement(path, refusedNamed(failure)).commit("new"), std::system_error);
        EXPECT_EQ(test::readFile(path), "old");
        EXPECT_EQ(files(), 1);
    }
}

TEST_F(NamedDraftTest, IsCommittedUnlessSomethingIsThere) {
    EXPECT_TRUE(FileReplacement(path, named()).commitUnlessThere("first"));
    EXPECT_FALSE(FileReplacement(path, named()).commitUnlessThere("second"));
    EXPECT_EQ(test::readFile(path), "first");
    EXPECT_EQ(files(), 1);
}

// A limit of the file's size stands for a disk that is full in the middle. Ends the process: with 0
// when what the file held is back.
[[noreturn]] void writeBeyondALimit(const std::string& path) {
    ::signal(SIGXFSZ, SIG_IGN);
    const auto before = test::readFile(path);
    const FileReplacement::Rename refused = [](const char*, const char*) {
        const rlimit limit = {5'000, 5'000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        errno = EBUSY;
        return -1;
    };
    try {
        FileReplacement(path, {.rename = refused}).commit(std::string(10'000, 'y'));
    } catch (const std::system_error&) {
        ::_exit(test::readFile(path) == before ? 0 : 1);
    }
    ::_exit(2);
}

TEST_F(FileReplacementTest, PutsTheOldContentBackWhenItCannotBeWrittenInPlace) {
    folder.write("file", std::string(2'000, 'x'));
    EXPECT_EXIT(writeBeyondALimit(path), testing::ExitedWithCode(0), "");
    EXPECT_EQ(test::readFile(path), std::string(2'000, 'x'));
}

}  // namespace tarn::os
