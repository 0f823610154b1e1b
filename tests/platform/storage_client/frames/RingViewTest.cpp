#include "platform/storage_client/frames/RingView.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/storage_wire/MemorySharing.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::storage_client {
namespace {

constexpr std::uint64_t ringSize = 10;

struct RingViewTest : testing::Test {
    RingViewTest() {
        EXPECT_EQ(::ftruncate(page.get(), storage_wire::limitPageSize), 0);
        const os::FileDescriptor data(openData(O_WRONLY | O_CREAT));
        EXPECT_EQ(::pwrite(data.get(), "0123456789", ringSize, 0), static_cast<ssize_t>(ringSize));
    }
    void SetUp() override {
        const os::FileDescriptor data(openData(O_RDONLY));
        const iovec part{.iov_base = bytes.data(), .iov_len = 1};
        if (::preadv2(data.get(), &part, 1, 0, RWF_NOWAIT) < 0 && errno == EOPNOTSUPP) {
            GTEST_SKIP() << "this file system always waits";
        }
    }
    int openData(int flags) const {
        return ::open((folder.path() / "data").c_str(), flags | O_CLOEXEC, 0600);
    }
    std::unique_ptr<RingView> open(std::uint64_t size = ringSize) {
        return RingView::Open(std::make_unique<os::FileDescriptor>(openData(O_RDONLY)), page, size);
    }
    void setLimit(std::uint64_t limit) {
        EXPECT_EQ(::pwrite(page.get(), &limit, sizeof limit, 0),
                  static_cast<ssize_t>(sizeof limit));
    }

    const test::TemporaryFolder folder{test::Medium::Disk};
    const os::FileDescriptor page{::memfd_create("page", MFD_CLOEXEC)};
    std::string bytes = std::string(ringSize, ' ');
};

TEST_F(RingViewTest, ReadsWhatLiesAtAPositionAlsoOverTheEnd) {
    setLimit(25);
    const auto ring = open();
    ASSERT_TRUE(ring->read(16, 3, bytes.data()));
    EXPECT_EQ(bytes.substr(0, 3), "678");
    ASSERT_TRUE(ring->read(18, 5, bytes.data()));
    EXPECT_EQ(bytes.substr(0, 5), "89012");
    ASSERT_TRUE(ring->read(15, 10, bytes.data()));
    EXPECT_EQ(bytes, "5678901234");
    EXPECT_TRUE(ring->read(15, 0, bytes.data()));
}

TEST_F(RingViewTest, WhatTheRingMayHaveGoneOverIsNotTaken) {
    const auto ring = open();
    setLimit(25);
    EXPECT_TRUE(ring->read(15, 2, bytes.data()));
    setLimit(26);
    EXPECT_FALSE(ring->read(15, 2, bytes.data()));
    EXPECT_TRUE(ring->read(16, 2, bytes.data()));
}

TEST_F(RingViewTest, AFileThatIsTooShortIsNotTaken) {
    setLimit(0);
    const auto ring = open(20);
    EXPECT_TRUE(ring->read(0, 10, bytes.data()));
    EXPECT_FALSE(ring->read(5, 10, bytes.data()));
}

TEST_F(RingViewTest, APageThatIsTooShortIsNotUsed) {
    EXPECT_EQ(::ftruncate(page.get(), 100), 0);
    EXPECT_EQ(open(), nullptr);
}

}  // namespace
}  // namespace tarn::storage_client
