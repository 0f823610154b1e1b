#include "tests/failing_disk/FileContent.h"

#include <gtest/gtest.h>

#include "tests/failing_disk/Chances.h"

namespace tarn::failing_disk {

namespace {

constexpr auto sector = FileContent::sectorSize;

std::string all(const FileContent& file) {
    return file.read(0, file.size());
}

std::string sectors(std::size_t count, char byte) {
    return std::string(count * sector, byte);
}

// Every second question is answered with yes, the first one too.
Luck everySecond() {
    return [yes = false]() mutable { return yes = !yes; };
}

/// A file whose bytes are all on the disk.
FileContent onDisk(const std::string& bytes) {
    FileContent file;
    file.write(0, bytes);
    file.sync();
    return file;
}

TEST(FileContentTest, ReadsWhatWasWritten) {
    FileContent file;
    file.write(3, "abc");
    EXPECT_EQ(all(file), std::string("\0\0\0abc", 6));
    file.write(4, "X");
    EXPECT_EQ(file.read(3, 100), "aXc");
    EXPECT_EQ(file.read(6, 1), "");
}

TEST(FileContentTest, LosesWhatWasNotSynced) {
    auto file = onDisk("old");
    EXPECT_TRUE(file.isSynced());
    file.write(0, "new and longer");
    EXPECT_FALSE(file.isSynced());
    file.losePower(never());
    EXPECT_EQ(all(file), "old");
    EXPECT_TRUE(file.isSynced());
}

TEST(FileContentTest, MayKeepWhatWasNotSynced) {
    FileContent file;
    file.write(0, "new");
    file.losePower(always());
    EXPECT_EQ(all(file), "new");
}

TEST(FileContentTest, KeepsSomeSectorsOfAWriteAndNotOthers) {
    auto file = onDisk(sectors(4, 'a'));
    file.write(0, sectors(4, 'b'));
    file.losePower(everySecond());
    EXPECT_EQ(all(file), sectors(1, 'b') + sectors(1, 'a') + sectors(1, 'b') + sectors(1, 'a'));
}

TEST(FileContentTest, TearsNoSector) {
    auto file = onDisk(sectors(2, 'a'));
    file.write(sector - 2, "bbbb");
    file.losePower(everySecond());
    EXPECT_EQ(all(file), sectors(1, 'a').substr(2) + "bb" + sectors(1, 'a'));
}

TEST(FileContentTest, MayHaveTheNewLengthWithoutTheBytes) {
    FileContent file;
    file.write(0, sectors(1, 'a'));
    file.losePower(everySecond());  // the length, not the sector
    EXPECT_EQ(all(file), sectors(1, '\0'));
}

TEST(FileContentTest, ComesBackInItsOldLengthWhenItsCutWasNotSynced) {
    auto file = onDisk(sectors(2, 'a'));
    file.resize(sector);
    file.losePower(never());
    EXPECT_EQ(all(file), sectors(2, 'a'));
}

TEST(FileContentTest, HasZerosWhereItWasCutAndMadeLongerAgain) {
    auto file = onDisk(sectors(2, 'a'));
    file.resize(sector);
    file.resize(2 * sector);
    EXPECT_EQ(all(file), sectors(1, 'a') + sectors(1, '\0'));
    file.losePower(everySecond());
    EXPECT_EQ(all(file), sectors(1, 'a') + sectors(1, '\0'));
}

TEST(FileContentTest, IsNotWrittenByTheSyncAfterOneThatFailed) {
    auto file = onDisk("old");
    file.write(0, "new");
    file.failSync(never());
    EXPECT_EQ(all(file), "new") << "as long as the kernel has room for it";
    file.sync();
    file.losePower(always());
    EXPECT_EQ(all(file), "old");
}

TEST(FileContentTest, IsWrittenAgainAfterAFailedSyncWhereItIsWrittenAnew) {
    FileContent file;
    file.write(0, sectors(2, 'a'));
    file.failSync(never());
    file.write(0, "b");
    file.sync();
    file.losePower(never());
    EXPECT_EQ(all(file), "b" + sectors(1, 'a').substr(1) + sectors(1, '\0'));
}

TEST(FileContentTest, ShowsWhatIsOnTheDiskWhenTheKernelForgetsAFailedSync) {
    auto file = onDisk(sectors(2, 'a'));
    file.write(0, sectors(2, 'b'));
    file.failSync(everySecond());
    file.dropCache();
    EXPECT_EQ(all(file), sectors(1, 'b') + sectors(1, 'a'));
}

TEST(FileContentTest, KeepsWhatIsNotSyncedInTheCache) {
    FileContent file;
    file.write(0, "new");
    file.dropCache();
    EXPECT_EQ(all(file), "new");
}

TEST(FileContentTest, MayHoldSomethingInBetween) {
    auto file = onDisk(sectors(1, 'a'));
    file.write(0, sectors(1, 'b'));
    file.writeBack(always());
    file.write(0, sectors(1, 'c'));
    file.losePower(never());
    EXPECT_EQ(all(file), sectors(1, 'b'));
}

}  // namespace

}  // namespace tarn::failing_disk
