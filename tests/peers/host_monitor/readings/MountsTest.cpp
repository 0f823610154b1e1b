#include "peers/host_monitor/readings/Mounts.h"

#include <gtest/gtest.h>

namespace tarn::peers::host_monitor {
namespace {

using Points = std::vector<std::string>;

Points disksIn(const std::string& text) {
    Points points;
    for (const auto& mount : localDisks(parseMounts(text))) {
        points.push_back(mount.point);
    }
    return points;
}

TEST(MountsTest, ReadsSourcePointAndType) {
    const auto mounts = parseMounts("/dev/sda1 / ext4 rw,relatime 0 0\n");
    ASSERT_EQ(mounts.size(), 1U);
    EXPECT_EQ(mounts[0].source, "/dev/sda1");
    EXPECT_EQ(mounts[0].point, "/");
    EXPECT_EQ(mounts[0].type, "ext4");
}

TEST(MountsTest, ResolvesEscapes) {
    EXPECT_EQ(parseMounts("/dev/a /my\\040disk\\134x ext4")[0].point, "/my disk\\x");
    EXPECT_EQ(parseMounts("/dev/a /a\\001\\377 ext4")[0].point, "/a\x01\xff");
    for (const std::string odd : {"/a\\", "/a\\04", "/a\\400", "/a\\0x0", "/a\\999", "/a\\000"}) {
        EXPECT_EQ(parseMounts("/dev/a " + odd + " ext4")[0].point, odd);
    }
}

TEST(MountsTest, BrokenLinesAreLeftOut) {
    EXPECT_TRUE(parseMounts("").empty());
    EXPECT_TRUE(parseMounts("/dev/a /b\nx\n/dev/a relative ext4\n").empty());
}

TEST(MountsTest, DisksAreFileSystemsOnDevices) {
    EXPECT_EQ(disksIn("proc /proc proc rw 0 0\n"
                      "tmpfs /dev/shm tmpfs rw 0 0\n"
                      "/dev/vda / ext4 rw 0 0\n"
                      "/dev/loop0 /snap/x squashfs ro 0 0\n"
                      "/dev/sr0 /media/dvd iso9660 ro 0 0\n"
                      "pool/home /home zfs rw 0 0\n"
                      "overlay /merged overlay rw 0 0\n"
                      "something /odd ext4 rw 0 0\n"
                      "/dev/sdb1 /data xfs rw 0 0\n"),
              (Points{"/", "/data", "/home"}));
}

TEST(MountsTest, NetworkFileSystemsAreSkippedAndWhatLiesBelowThem) {
    EXPECT_EQ(disksIn("/dev/vda / ext4 rw 0 0\n"
                      "server:/x /net nfs4 rw 0 0\n"
                      "//server/y /share cifs rw 0 0\n"
                      "sshfs /remote fuse.sshfs rw 0 0\n"
                      "/dev/sdb1 /fuse fuseblk rw 0 0\n"
                      "auto /auto autofs rw 0 0\n"
                      "/dev/sdc1 /net/disk ext4 rw 0 0\n"
                      "/dev/sdd1 /network ext4 rw 0 0\n"),
              (Points{"/", "/network"}));
}

TEST(MountsTest, ADiskIsOneHoweverOftenItIsMounted) {
    EXPECT_EQ(disksIn("/dev/vda /a/long/path ext4 rw 0 0\n"
                      "/dev/vda /data ext4 rw 0 0\n"
                      "/dev/vda /data/again ext4 rw 0 0\n"),
              Points{"/data"});
    EXPECT_EQ(disksIn("/dev/vda /b ext4 rw 0 0\n/dev/vda /a ext4 rw 0 0\n"), Points{"/a"});
}

TEST(MountsTest, BelowARootThatMayHangLiesEverything) {
    EXPECT_EQ(disksIn("server:/x / nfs rw 0 0\n/dev/vda /data ext4 rw 0 0\n"), Points{});
}

TEST(MountsTest, OfWhatIsMountedOverEachOtherTheLastCounts) {
    EXPECT_EQ(disksIn("/dev/vda /x ext4 rw 0 0\nserver:/y /x nfs rw 0 0\n"), Points{});
    EXPECT_EQ(disksIn("rootfs / rootfs rw 0 0\n/dev/vda / ext4 rw 0 0\n"), Points{"/"});
}

}  // namespace
}  // namespace tarn::peers::host_monitor
