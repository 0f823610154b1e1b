#include "platform/os/TrustedListener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>

#include "platform/os/ConnectGuard.h"
#include "platform/os/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/ImpostorSocket.h"

namespace tarn::os {
namespace {

using test::ImpostorSocket;
using testing::HasSubstr;
using testing::Optional;

int refusals = 0;
std::string lastReason;

void note(const std::string&, const std::string& why) {
    ++refusals;
    lastReason = why;
}

int connectTo(const std::string& path, const FileDescriptor& caller) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const generic = &address;
    const auto* const target = static_cast<const sockaddr*>(generic);
    return ::connect(caller.get(), target, sizeof address) == 0 ? 0 : errno;
}

class TrustedListenerTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!test::canBeOthers()) {
            GTEST_SKIP() << "there is one user only";
        }
        ConnectGuard::Install(note);
        refusals = 0;
        // What the other user makes, he makes in a folder of everybody's.
        std::filesystem::permissions(
            folder.path(), std::filesystem::perms::all | std::filesystem::perms::sticky_bit);
    }

    FileDescriptor caller() const {
        return FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    }

    const test::TemporaryFolder folder;
    const std::string path = (folder.path() / "socket").string();
};

TEST_F(TrustedListenerTest, RootAndThisUserAreTrusted) {
    EXPECT_TRUE(isTrustedListener(0));
    EXPECT_TRUE(isTrustedListener(::geteuid()));
    EXPECT_FALSE(isTrustedListener(test::OtherUser().user));
}

TEST_F(TrustedListenerTest, AnothersFileIsNamed) {
    const ImpostorSocket impostor(path);
    EXPECT_THAT(whyNotTrusted(path), Optional(HasSubstr("it belongs to user 61001, ")));
    EXPECT_EQ(whyNotTrusted(path + "x"), std::nullopt);
}

TEST_F(TrustedListenerTest, ALinkIsItsMakers) {
    test::asUser(test::OtherUser().user,
                 [&] { std::filesystem::create_symlink("/dev/null", path); });
    EXPECT_THAT(whyNotTrusted(path), Optional(HasSubstr("it belongs to user 61001, ")));
}

TEST_F(TrustedListenerTest, AnothersSocketIsNotConnectedTo) {
    const ImpostorSocket impostor(path);
    EXPECT_EQ(connectTo(path, caller()), EACCES);
    EXPECT_EQ(refusals, 1);
    EXPECT_THAT(lastReason, HasSubstr("it belongs to user 61001, "));
}

TEST_F(TrustedListenerTest, NorIsOneThatOnlyLooksLikeOurs) {
    const ImpostorSocket impostor(path, ImpostorSocket::File::Ours);
    const auto ours = caller();
    EXPECT_EQ(connectTo(path, ours), EACCES);
    EXPECT_EQ(refusals, 1);
    EXPECT_THAT(lastReason, HasSubstr("user 61001 listens there, "));
    // Whoever overlooks the error reaches nobody.
    EXPECT_EQ(::send(ours.get(), "secret", 6, MSG_NOSIGNAL), -1);
    EXPECT_EQ(impostor.loot(), "");
}

TEST_F(TrustedListenerTest, NorIsOursByWayOfAnothersLink) {
    const auto real = (folder.path() / "real").string();
    const ImpostorSocket root(real, ImpostorSocket::File::Ours, /*impostor=*/0);
    EXPECT_EQ(connectTo(real, caller()), 0);
    test::asUser(test::OtherUser().user, [&] { std::filesystem::create_symlink(real, path); });
    EXPECT_EQ(connectTo(path, caller()), EACCES);
}

TEST_F(TrustedListenerTest, ALinkOfOursIsFollowed) {
    const auto real = (folder.path() / "real").string();
    const ImpostorSocket root(real, ImpostorSocket::File::Ours, /*impostor=*/0);
    std::filesystem::create_symlink(real, path);
    EXPECT_EQ(connectTo(path, caller()), 0);
}

TEST_F(TrustedListenerTest, WhatIsNotThereIsNoRefusal) {
    EXPECT_EQ(connectTo(path, caller()), ENOENT);
    EXPECT_EQ(refusals, 0);
}

TEST_F(TrustedListenerTest, SocketsWithoutAListenerAreLetThrough) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const FileDescriptor one(ends[0]);
    const FileDescriptor other(ends[1]);
    EXPECT_EQ(whyNotTrusted(one.get()), std::nullopt);
    const FileDescriptor datagrams(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(connectTo(path, datagrams), ENOENT);
}

}  // namespace
}  // namespace tarn::os
