#include "platform/storage_wire/PeerTimeOut.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "platform/os/FileDescriptor.h"

namespace tarn::storage_wire {
namespace {

using namespace std::chrono_literals;

struct PeerTimeOutTest : testing::Test {
    int option(int level, int name) const {
        int value = -1;
        socklen_t size = sizeof value;
        ::getsockopt(tcp.get(), level, name, &value, &size);
        return value;
    }
    const os::FileDescriptor tcp{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

TEST_F(PeerTimeOutTest, TheSystemLooksAfterThePeerWhetherItIsSentToOrNot) {
    endWithoutPeer(tcp.get(), 10s);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 10'000);
    EXPECT_EQ(option(SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPIDLE), 5);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPINTVL), 1);
}

TEST_F(PeerTimeOutTest, LessThanTwoSecondsAreTwo) {
    endWithoutPeer(tcp.get(), 300ms);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 2'000);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPIDLE), 1);
}

TEST_F(PeerTimeOutTest, AnHourIsTheMost) {
    endWithoutPeer(tcp.get(), std::chrono::milliseconds::max());
    EXPECT_EQ(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 3'600'000);
}

TEST_F(PeerTimeOutTest, OtherSocketsStayAsTheyAre) {
    const os::FileDescriptor local(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    endWithoutPeer(local.get(), 10s);
    int value = -1;
    socklen_t size = sizeof value;
    ASSERT_EQ(::getsockopt(local.get(), SOL_SOCKET, SO_KEEPALIVE, &value, &size), 0);
    EXPECT_EQ(value, 0);
}

}  // namespace
}  // namespace tarn::storage_wire
