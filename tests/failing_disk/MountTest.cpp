// What programs see of a disk, through the kernel.
#include "tests/failing_disk/Mount.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <optional>

#include "tests/failing_disk/Chances.h"
#include "tests/support/MachineTime.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::failing_disk {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::UnorderedElementsAre;

constexpr std::uint64_t megabyte = 1U << 20U;

/// An open file; what its calls return, or the errno.
class OpenFile {
  public:
    explicit OpenFile(const fs::path& path)
        : descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {}
    ~OpenFile() { ::close(descriptor); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    int write(off_t offset, const std::string& bytes) const {
        return ::pwrite(descriptor, bytes.data(), bytes.size(), offset) < 0 ? errno : 0;
    }
    int read(off_t offset) const {
        char byte = 0;
        return ::pread(descriptor, &byte, 1, offset) < 0 ? errno : 0;
    }
    int sync() const { return ::fdatasync(descriptor) < 0 ? errno : 0; }
    int reserve(off_t size) const { return ::posix_fallocate(descriptor, 0, size); }

  private:
    const int descriptor;
};

class MountTest : public testing::Test {
  protected:
    void SetUp() override {
        std::string reason;
        if (!Mount::isPossible(reason)) {
            GTEST_SKIP() << "no file system of a program's own on this machine: " << reason;
        }
        mount.emplace(disk, folder.path(), never());
    }

    fs::path path(const std::string& name) const { return folder.path() / name; }
    static std::string content(const fs::path& path) { return test::readFile(path); }
    static void syncFolder(const fs::path& path) {
        const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(::fsync(descriptor), 0);
        ::close(descriptor);
    }

    test::TemporaryFolder folder;
    Disk disk{8 * megabyte};
    std::optional<Mount> mount;
};

TEST_F(MountTest, IsAFolderWithFiles) {
    fs::create_directory(path("track-1"));
    const std::string large(3 * megabyte, 'x');
    folder.write("track-1/data.0", large);
    folder.write("last-id", "17");
    EXPECT_EQ(content(path("track-1/data.0")), large);
    fs::rename(path("track-1"), path("track-2"));
    fs::rename(path("last-id"), path("id"));
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
        names.push_back(entry.path().lexically_relative(folder.path()));
    }
    EXPECT_THAT(names, UnorderedElementsAre("track-2", "track-2/data.0", "id"));
    fs::resize_file(path("track-2/data.0"), 10);
    EXPECT_EQ(content(path("track-2/data.0")), std::string(10, 'x'));
    EXPECT_EQ(fs::remove_all(path("track-2")), 2U);
    EXPECT_FALSE(fs::exists(path("track-2")));
}

TEST_F(MountTest, ForgetsWhatWasNotSyncedWhenThePowerGoes) {
    {
        const OpenFile file(path("a"));
        EXPECT_EQ(file.write(0, "synced"), 0);
        EXPECT_EQ(file.sync(), 0);
        syncFolder(folder.path());
        EXPECT_EQ(file.write(0, "lost, and longer"), 0);
    }
    folder.write("b", "lost");
    EXPECT_EQ(content(path("a")), "lost, and longer");
    disk.losePower(never());
    EXPECT_EQ(content(path("a")), "synced");
    EXPECT_FALSE(fs::exists(path("b")));
}

TEST_F(MountTest, FailsWhatItIsTold) {
    const OpenFile file(path("a"));
    EXPECT_EQ(file.write(0, "abc"), 0);
    disk.faults().add({.operation = Operation::Read, .path = "a", .error = EIO, .to = 1});
    disk.faults().add({.operation = Operation::Sync, .path = "a", .error = EIO, .times = 1});
    disk.faults().add({.operation = Operation::Write, .path = "a", .error = EIO, .from = 100});
    EXPECT_EQ(file.read(0), EIO);
    EXPECT_EQ(file.read(1), 0);
    EXPECT_EQ(file.write(100, "d"), EIO);
    EXPECT_EQ(file.sync(), EIO);
    EXPECT_EQ(file.sync(), 0) << "as if it had been written";
    disk.faults().clear();
    EXPECT_EQ(content(path("a")), "abc") << "as long as the kernel remembers it";
    syncFolder(folder.path());
    disk.losePower(never());
    EXPECT_EQ(content(path("a")), std::string(3, '\0')) << "its length, not its bytes";
}

TEST_F(MountTest, IsFull) {
    const OpenFile file(path("a"));
    EXPECT_EQ(fs::space(folder.path()).available, 8 * megabyte);
    EXPECT_EQ(file.reserve(9 * megabyte), ENOSPC);
    EXPECT_EQ(file.reserve(6 * megabyte), 0);
    EXPECT_EQ(fs::space(folder.path()).available, 2 * megabyte);
    disk.setTaken(2 * megabyte);
    EXPECT_EQ(OpenFile(path("b")).write(0, "x"), ENOSPC);
    EXPECT_EQ(file.write(0, "there is room for it"), 0);
}

// The others' time is far below the delay, which ends early with the fault.
TEST_F(MountTest, IsSlowForOneFileAndNotForAnother) {
    const OpenFile slow(path("slow"));
    const OpenFile quick(path("quick"));
    disk.faults().add({.operation = Operation::Sync, .path = "slow", .delay = 60s});
    std::jthread syncing([&] { EXPECT_EQ(slow.sync(), 0); });
    const test::MachineTime time;
    while (disk.faults().met() == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(quick.write(0, "abc"), 0);
    EXPECT_EQ(quick.sync(), 0);
    EXPECT_LT(time.elapsed(), 10s);
    disk.faults().clear();
    syncing.join();
}

}  // namespace

}  // namespace tarn::failing_disk
