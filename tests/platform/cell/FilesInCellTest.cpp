#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "platform/cell/kernel/LandlockKernel.h"
#include "platform/cell/rules/FolderRules.h"
#include "tests/platform/cell/InCell.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::cell {
namespace {

using testing::Contains;
using testing::HasSubstr;

struct FilesInCellTest : testing::Test {
    void SetUp() override {
        if (kernel::landlockVersion() == 0) {
            GTEST_SKIP() << "this kernel has no Landlock";
        }
        std::filesystem::create_directory(media());
        std::filesystem::create_directory(recordings());
        elsewhere = folder.write("secret", "x");
        clip = folder.write("media/clip", "x");
        recording = folder.write("recordings/old", "x");
    }
    std::string media() const { return folder.path() / "media"; }
    std::string recordings() const { return folder.path() / "recordings"; }
    std::string newFile() const { return folder.path() / "new"; }
    Cell cell() const {
        return {.folders = Folders::Named, .read = {media()}, .write = {recordings()}};
    }
    std::string opening(const std::string& path, int flags) const {
        return tryInCell(cell(), [&] { return outcomeOfOpening(path, flags); }).said;
    }

    // In a cell everybody has the memory that is shared, so not there.
    const test::TemporaryFolder folder{test::Medium::Disk};
    std::string elsewhere;
    std::string clip;
    std::string recording;
};

TEST_F(FilesInCellTest, WhatIsBelowAFolderToReadIsReadAndNotWritten) {
    EXPECT_EQ(opening(clip, O_RDONLY), "done");
    EXPECT_EQ(opening(clip, O_WRONLY), "EACCES");
    EXPECT_EQ(opening(media() + "/new", O_WRONLY | O_CREAT), "EACCES");
}

TEST_F(FilesInCellTest, WhatIsBelowAFolderToWriteIsMadeChangedAndRemoved) {
    EXPECT_EQ(opening(recordings() + "/new", O_RDWR | O_CREAT | O_TRUNC), "done");
    EXPECT_EQ(opening(recording, O_RDWR | O_TRUNC), "done");
    EXPECT_EQ(tryInCell(cell(), [&] { return outcomeOf(::unlink(recording.c_str())); }).said,
              "done");
    EXPECT_FALSE(std::filesystem::exists(recording));
}

TEST_F(FilesInCellTest, WhatIsElsewhereIsNeitherReadNorWrittenNorRemovedNorListed) {
    EXPECT_EQ(opening(elsewhere, O_RDONLY), "EACCES");
    EXPECT_EQ(opening(elsewhere, O_WRONLY), "EACCES");
    EXPECT_EQ(opening(newFile(), O_WRONLY | O_CREAT), "EACCES");
    EXPECT_EQ(opening(folder.path(), O_RDONLY | O_DIRECTORY), "EACCES");
    EXPECT_EQ(tryInCell(cell(), [&] { return outcomeOf(::unlink(elsewhere.c_str())); }).said,
              "EACCES");
    EXPECT_TRUE(std::filesystem::exists(elsewhere));
}

TEST_F(FilesInCellTest, ALinkLeadsNowhereElse) {
    const auto link = recordings() + "/link";
    std::filesystem::create_symlink(elsewhere, link);
    EXPECT_EQ(opening(link, O_RDONLY), "EACCES");
    EXPECT_EQ(opening(link, O_WRONLY | O_CREAT), "EACCES");
}

TEST_F(FilesInCellTest, WhatIsWrittenIsNoProgramAndNoDevice) {
    const auto program = recordings() + "/true";
    std::filesystem::copy_file("/bin/true", program);
    EXPECT_EQ(tryInCell(cell(),
                        [&] {
                            const char* const arguments[] = {program.c_str(), nullptr};
                            return outcomeOf(
                                ::execv(program.c_str(), const_cast<char* const*>(arguments)));
                        })
                  .said,
              "EACCES");
    const auto device = recordings() + "/device";
    EXPECT_NE(
        tryInCell(cell(), [&] { return outcomeOf(::mknod(device.c_str(), S_IFCHR, 0)); }).said,
        "done");
}

TEST_F(FilesInCellTest, NobodysModesAndNamesAreChangedOrWatched) {
    const auto trying = [&](const std::function<long()>& attempt) {
        return tryInCell(cell(), [&] { return outcomeOf(attempt()); }).said;
    };
    EXPECT_EQ(trying([&] { return ::chmod(elsewhere.c_str(), 0666); }), "EPERM");
    EXPECT_EQ(trying([&] { return ::chmod(clip.c_str(), 0666); }), "EPERM");
    EXPECT_EQ(trying([&] { return ::chown(elsewhere.c_str(), ::getuid(), ::getgid()); }), "EPERM");
    EXPECT_EQ(trying([&] { return ::fchmod(::open(clip.c_str(), O_RDONLY), 0666); }), "EPERM");
    EXPECT_NE(trying([&] { return ::truncate(elsewhere.c_str(), 0); }), "done");
    EXPECT_EQ(trying([&] { return ::inotify_add_watch(::inotify_init(), "/tmp", IN_CREATE); }),
              "EPERM");
    EXPECT_NE(trying([&] { return ::rename(elsewhere.c_str(), (recordings() + "/x").c_str()); }),
              "done");
    EXPECT_NE(trying([&] { return ::link(elsewhere.c_str(), (recordings() + "/x").c_str()); }),
              "done");
    EXPECT_EQ(test::readFile(elsewhere), "x");
}

TEST_F(FilesInCellTest, OtherProcessesAreNotSeen) {
    EXPECT_EQ(opening("/proc", O_RDONLY | O_DIRECTORY), "EACCES");
    EXPECT_EQ(opening("/proc/" + std::to_string(::getppid()) + "/status", O_RDONLY), "EACCES");
    EXPECT_EQ(opening("/proc/self/status", O_RDONLY), "done");
}

TEST_F(FilesInCellTest, WhatEveryProgramNeedsIsThere) {
    EXPECT_EQ(opening("/etc/ld.so.cache", O_RDONLY), "done");
    EXPECT_EQ(opening("/dev/null", O_RDWR), "done");
    EXPECT_EQ(opening("/usr/lib", O_RDONLY | O_DIRECTORY), "done");
}

TEST_F(FilesInCellTest, AFolderThatIsNotThereIsToldAndTheRestHolds) {
    auto cell = this->cell();
    cell.write.push_back("/nowhere/at/all");
    const auto tried = tryInCell(cell, [&] { return outcomeOfOpening(elsewhere, O_RDONLY); });
    EXPECT_THAT(tried.report.notes, Contains(HasSubstr("/nowhere/at/all")));
    EXPECT_EQ(tried.said, "EACCES");
}

TEST_F(FilesInCellTest, WithoutNamedFoldersItReachesAllButWhatBeginsWithTheServicesName) {
    const Cell open;
    const auto opening = [&](const std::string& path, int flags) {
        return tryInCell(open, [&] { return outcomeOfOpening(path, flags); }).said;
    };
    EXPECT_EQ(opening(elsewhere, O_RDWR), "done");
    EXPECT_EQ(opening(newFile(), O_WRONLY | O_CREAT), "done");
    EXPECT_EQ(opening("/etc/shadow", O_RDONLY), "EACCES");
    for (const auto& rule : folderRules(open)) {
        EXPECT_THAT(rule.path, testing::Not(HasSubstr("/halden")));
        EXPECT_NE(rule.path, "/");
        EXPECT_NE(rule.path, "/etc");
        EXPECT_NE(rule.path, "/run");
        EXPECT_NE(rule.path, "/usr/share");
    }
}

}  // namespace
}  // namespace tarn::cell
