#include <gtest/gtest.h>
#include <unistd.h>
#include <zmq.h>

#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

Peer senderAt(Socket& receiving, Socket& sending) {
    send(sending, "x");
    EXPECT_EQ(receive(receiving), "x");
    return receiving.sender();
}

void expectThisProcess(const Peer& peer) {
    EXPECT_EQ(peer.transport, Transport::Ipc);
    ASSERT_TRUE(peer.user);
    EXPECT_EQ(peer.user->user, ::geteuid());
    EXPECT_EQ(peer.user->group, ::getegid());
    EXPECT_EQ(peer.user->process, ::getpid());
    std::vector<gid_t> groups(static_cast<std::size_t>(::getgroups(0, nullptr)));
    ASSERT_GE(::getgroups(static_cast<int>(groups.size()), groups.data()), 0);
    EXPECT_EQ(peer.user->groups, groups);
}

TEST(SenderTest, IsTheKernelsWordOverIpc) {
    const auto endpoint = ipcEndpoint();
    const auto answering = open(Protocol::Reply, endpoint);
    const auto asking = open(Protocol::Request, endpoint, patienceMs);
    expectThisProcess(senderAt(*answering, *asking));
}

TEST(SenderTest, IsKnownToAReceivingEnd) {
    const auto endpoint = ipcEndpoint();
    const auto pulling = open(Protocol::Pull, endpoint);
    const auto pushing = open(Protocol::Push, endpoint, patienceMs);
    expectThisProcess(senderAt(*pulling, *pushing));
}

TEST(SenderTest, WhoHasGoneIsKnownWithoutHisGroups) {
    const auto endpoint = ipcEndpoint();
    const auto pulling = open(Protocol::Pull, endpoint);
    {
        const auto pushing = open(Protocol::Push, endpoint, patienceMs, ClosePolicy::Flush);
        expectThisProcess(senderAt(*pulling, *pushing));
    }
    // Somebody else has his descriptor's number now, or nobody.
    const auto other = open(Protocol::Request, endpoint);
    const auto sender = pulling->sender();
    ASSERT_TRUE(sender.user);
    EXPECT_EQ(sender.user->process, ::getpid());
}

TEST(SenderTest, HasAnAddressOverTcpAndNoKeyThatHeDidNotProve) {
    const auto endpoint = tcpEndpoint();
    const auto answering = open(Protocol::Reply, endpoint);
    const auto asking = open(Protocol::Request, endpoint, patienceMs);
    const auto peer = senderAt(*answering, *asking);
    EXPECT_EQ(peer.transport, Transport::Tcp);
    EXPECT_EQ(peer.address, "127.0.0.1");
    EXPECT_FALSE(peer.user);
    EXPECT_EQ(peer.key, "");
}

TEST(SenderTest, IsThisProcessInProcess) {
    const auto endpoint = inProcessEndpoint();
    const auto answering = open(Protocol::Reply, endpoint);
    const auto asking = open(Protocol::Request, endpoint);
    EXPECT_EQ(senderAt(*answering, *asking).transport, Transport::InProcess);
}

TEST(SenderTest, IsForgottenWithTheSocket) {
    const auto endpoint = ipcEndpoint();
    const auto pulling = open(Protocol::Pull, endpoint);
    const auto pushing = open(Protocol::Push, endpoint, patienceMs);
    EXPECT_EQ(senderAt(*pulling, *pushing).transport, Transport::Ipc);
    pulling->close();
    EXPECT_EQ(pulling->sender().transport, Transport::InProcess);
}

}  // namespace

}  // namespace tarn::socket::test
