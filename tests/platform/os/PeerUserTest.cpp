#include "platform/os/PeerUser.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <numeric>

#include "platform/os/FileDescriptor.h"
#include "tests/support/OtherUser.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::os {

namespace {

using test::OtherUser;

std::pair<FileDescriptor, FileDescriptor> connectedPair(int domain) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::socketpair(domain, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

class PeerUserTest : public testing::Test {
  protected:
    // Root listens; the other user connects, and keeps the connection until he is told.
    PeerUser connectedAs(const OtherUser& other) {
        const FileDescriptor listening(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        const auto length = ::snprintf(address.sun_path + 1, sizeof address.sun_path - 1,
                                       "tarn-peer-user-test-%d", ::getpid());
        const auto* where = reinterpret_cast<const sockaddr*>(&address);
        const auto size =
            static_cast<socklen_t>(sizeof(sa_family_t) + 1U + static_cast<std::size_t>(length));
        EXPECT_EQ(::bind(listening.get(), where, size), 0);
        EXPECT_EQ(::listen(listening.get(), 1), 0);
        EXPECT_TRUE(test::doneAs(other, [&] {
            const FileDescriptor ours(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
            return ::connect(ours.get(), where, size) == 0;
        }));
        const FileDescriptor accepted(::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
        return peerUserOf(accepted.get()).value_or(PeerUser{});
    }
};

TEST_F(PeerUserTest, IsWhoConnected) {
    const auto [one, other] = connectedPair(AF_UNIX);
    const auto peer = peerUserOf(one.get());
    ASSERT_TRUE(peer);
    EXPECT_EQ(peer->user, ::geteuid());
    EXPECT_EQ(peer->group, ::getegid());
    EXPECT_EQ(peer->process, ::getpid());
}

TEST_F(PeerUserTest, IsKnownWithHisGroupsAfterHeHasGone) {
    if (!test::canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    const auto peer = connectedAs({.user = 61001, .group = 61002, .groups = {61003, 61004}});
    EXPECT_EQ(peer.user, 61001U);
    EXPECT_EQ(peer.group, 61002U);
    EXPECT_EQ(peer.groups, (std::vector<gid_t>{61003, 61004}));
}

TEST_F(PeerUserTest, MayBeInManyGroups) {
    if (!test::canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    std::vector<gid_t> many(1000);
    std::iota(many.begin(), many.end(), 61100);
    EXPECT_EQ(connectedAs({.groups = many}).groups, many);
}

TEST_F(PeerUserTest, NobodyIsAtADescriptorThatIsNoConnection) {
    EXPECT_FALSE(peerUserOf(-1));
    const FileDescriptor alone(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_FALSE(peerUserOf(alone.get()));
    const FileDescriptor network(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_FALSE(peerUserOf(network.get()));
}

}  // namespace

}  // namespace tarn::os
