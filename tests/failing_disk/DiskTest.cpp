#include "tests/failing_disk/Disk.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <functional>
#include <system_error>

#include "tests/failing_disk/Chances.h"

namespace tarn::failing_disk {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = Disk::Kind;

int errorOf(const std::function<void()>& action) {
    try {
        action();
        return 0;
    } catch (const std::system_error& error) {
        return error.code().value();
    }
}

std::vector<std::string> namesIn(const Disk& disk, NodeNumber folder) {
    std::vector<std::string> names;
    for (const auto& [name, attributes] : disk.list(folder)) {
        names.push_back(name);
    }
    return names;
}

class DiskTest : public testing::Test {
  protected:
    NodeNumber makeFile(const std::string& name, const std::string& bytes) {
        const auto number = disk.make(Disk::root, name, Kind::File).number;
        disk.write(number, 0, bytes);
        return number;
    }
    std::string content(const std::string& path) { return disk.read(disk.at(path), 0, 1000); }

    Disk disk{100'000};
};

TEST_F(DiskTest, FindsWhatWasMade) {
    const auto folder = disk.make(Disk::root, "track-1", Kind::Folder).number;
    const auto file = disk.make(folder, "index", Kind::File).number;
    disk.write(file, 0, "abc");
    EXPECT_EQ(disk.at("track-1/index"), file);
    EXPECT_EQ(disk.pathOf(file), "track-1/index");
    EXPECT_EQ(disk.attributes(file).size, 3U);
    EXPECT_EQ(errorOf([&] { disk.at("track-1/data"); }), ENOENT);
    EXPECT_EQ(errorOf([&] { disk.make(folder, "index", Kind::File); }), EEXIST);
    EXPECT_EQ(errorOf([&] { disk.remove(Disk::root, "track-1", Kind::Folder); }), ENOTEMPTY);
    EXPECT_EQ(errorOf([&] { disk.remove(Disk::root, "track-1", Kind::File); }), EISDIR);
    EXPECT_EQ(errorOf([&] { disk.list(file); }), ENOTDIR);
}

TEST_F(DiskTest, LosesANameWithoutTheFoldersSync) {
    disk.sync(makeFile("file", "abc"));
    disk.losePower(never());
    EXPECT_THAT(namesIn(disk, Disk::root), IsEmpty());
}

TEST_F(DiskTest, KeepsANameWithTheFoldersSyncAndTheBytesWithTheFiles) {
    disk.sync(makeFile("synced", "abc"));
    makeFile("unsynced", "abc");
    disk.sync(Disk::root);
    disk.losePower(never());
    EXPECT_THAT(namesIn(disk, Disk::root), ElementsAre("synced", "unsynced"));
    EXPECT_EQ(content("synced"), "abc");
    EXPECT_EQ(content("unsynced"), "");
}

TEST_F(DiskTest, PutsBackWhatWasReplacedOrRemovedWithoutSync) {
    disk.sync(makeFile("a", "old"));
    disk.sync(makeFile("b", "gone"));
    disk.sync(Disk::root);
    disk.sync(makeFile("a.new", "new"));
    disk.rename(Disk::root, "a.new", "a");
    disk.remove(Disk::root, "b", Kind::File);
    EXPECT_EQ(content("a"), "new");
    disk.losePower(never());
    EXPECT_THAT(namesIn(disk, Disk::root), ElementsAre("a", "b"));
    EXPECT_EQ(content("a"), "old");
    EXPECT_EQ(content("b"), "gone");
}

TEST_F(DiskTest, KeepsTheFirstOfTheChangesOfAFolder) {
    for (const auto* const name : {"a", "b", "c"}) {
        makeFile(name, "");
    }
    disk.losePower([left = 2]() mutable { return left-- > 0; });
    EXPECT_THAT(namesIn(disk, Disk::root), ElementsAre("a", "b"));
}

TEST_F(DiskTest, RenamesAFolderWithWhatIsInIt) {
    const auto folder = disk.make(Disk::root, "making-1", Kind::Folder).number;
    disk.make(folder, "index", Kind::File);
    disk.sync(folder);
    disk.rename(Disk::root, "making-1", "track-1");
    disk.sync(Disk::root);
    disk.losePower(never());
    EXPECT_EQ(disk.pathOf(disk.at("track-1/index")), "track-1/index");
}

TEST_F(DiskTest, LetsWhoHoldsAFileUseItWithoutAName) {
    const auto file = makeFile("a", "abc");
    disk.hold(file);
    disk.remove(Disk::root, "a", Kind::File);
    disk.sync(Disk::root);
    EXPECT_EQ(disk.read(file, 0, 10), "abc");
    disk.release(file, 1);
    EXPECT_EQ(errorOf([&] { disk.attributes(file); }), ESTALE);
}

TEST_F(DiskTest, ForgetsWhatWasInAFolderThatIsGone) {
    const auto folder = disk.make(Disk::root, "removed-1", Kind::Folder).number;
    const auto file = disk.make(folder, "index", Kind::File).number;
    disk.sync(folder);
    disk.sync(Disk::root);
    disk.remove(folder, "index", Kind::File);
    disk.remove(Disk::root, "removed-1", Kind::Folder);
    EXPECT_EQ(disk.attributes(file).size, 0U) << "a loss of power would bring it back";
    disk.sync(Disk::root);
    EXPECT_EQ(errorOf([&] { disk.attributes(file); }), ESTALE);
}

TEST_F(DiskTest, IsFullAtItsSize) {
    const auto file = makeFile("a", std::string(60'000, 'a'));
    EXPECT_EQ(disk.free(), 40'000U);
    EXPECT_EQ(errorOf([&] { disk.resize(file, 100'001); }), ENOSPC);
    disk.setTaken(40'000);
    EXPECT_EQ(disk.free(), 0U);
    EXPECT_EQ(errorOf([&] { disk.write(file, 60'000, "b"); }), ENOSPC);
    EXPECT_EQ(errorOf([&] { disk.write(file, 0, "b"); }), 0) << "there is room for it already";
    disk.setTaken(0);
    EXPECT_EQ(errorOf([&] { disk.write(file, 60'000, "b"); }), 0);
    disk.remove(Disk::root, "a", Kind::File);
    EXPECT_EQ(disk.free(), 100'000U);
}

}  // namespace

}  // namespace tarn::failing_disk
