#include "platform/socket/TcpProtection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>

#include "platform/os/WakeUp.h"
#include "platform/socket/Exchange.h"
#include "platform/utils/Synchronised.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/Eventually.h"

namespace tarn::socket::test {

namespace {

using tarn::test::eventually;

constexpr std::uint32_t refusedWithinMs = 500;

/// Admits whom the test says, until it says otherwise.
class Guests : public KeyPolicy {
  public:
    void add(const std::string& key) { keys.lock()->insert(key); }
    void remove(const std::string& key) {
        keys.lock()->erase(key);
        hasChanged = true;
        bell.ring();
    }

    bool admits(const std::string& key, Entrance entrance) const override {
        return entrance != Entrance::OwnPrograms && keys.lock()->contains(key);
    }
    int descriptor() const override { return bell.descriptor(); }
    bool refresh() override {
        bell.reset();
        return hasChanged.exchange(false);
    }

  private:
    mutable utils::Synchronised<std::set<std::string>> keys;
    std::atomic<bool> hasChanged = false;
    os::WakeUp bell;
};

/// A protected server, and clients with keys of their own, in one process.
class ProtectedTcpTest : public ::testing::Test {
  protected:
    ProtectedTcpTest()
        : server(
              std::make_unique<TcpProtection>(TcpSecurity{.own = serverKeys, .clients = guests})) {}

    std::unique_ptr<Socket> bindTo(Protocol protocol, const SocketEndpoint& at) {
        auto socket = std::make_unique<Socket>("server", ClosePolicy::Discard);
        socket->protectBy(*server);
        socket->createAndConnect(protocol, at, 0);
        return socket;
    }

    std::unique_ptr<Socket> client(Protocol protocol, const keys::KeyPair& own,
                                   const std::string& serverKey) {
        const TcpProtection protection({.own = own, .serverKey = serverKey});
        auto socket = std::make_unique<Socket>("client", ClosePolicy::Discard);
        socket->protectBy(protection);
        socket->createAndConnect(protocol, endpoint, 0);
        return socket;
    }
    std::unique_ptr<Socket> guest(Protocol protocol) {
        guests->add(guestKeys.publicKey);
        return client(protocol, guestKeys, serverKeys.publicKey);
    }

    const SocketEndpoint endpoint = tcpEndpoint();
    const keys::KeyPair serverKeys = keys::generateKeyPair();
    const keys::KeyPair guestKeys = keys::generateKeyPair();
    const std::shared_ptr<Guests> guests = std::make_shared<Guests>();
    std::unique_ptr<TcpProtection> server;
};

/// Not, either, when the connection has ended already and nothing can be sent.
bool arrives(Socket& from, Socket& at, const std::string& text) {
    try {
        send(from, text);
    } catch (const std::runtime_error&) {
        return false;
    }
    return poll(at, 100) == 0;
}

void ask(Socket& from, Socket& at, const std::string& text) {
    send(from, text);
    ASSERT_EQ(poll(at, patienceMs), 0) << "the question did not arrive";
    EXPECT_EQ(receive(at), text);
    send(at, "answer to " + text);
    ASSERT_EQ(poll(from, patienceMs), 0) << "the answer did not arrive";
    EXPECT_EQ(receive(from), "answer to " + text);
}

}  // namespace

TEST_F(ProtectedTcpTest, AKnownKeyIsServedAndTold) {
    const auto answering = bindTo(Protocol::Reply, endpoint);
    const auto asking = guest(Protocol::Request);
    ask(*asking, *answering, "who am I");
    EXPECT_EQ(answering->sender().key, guestKeys.publicKey);
    EXPECT_EQ(answering->sender().transport, Transport::Tcp);
}

TEST_F(ProtectedTcpTest, TheServersOwnKeyIsServed) {
    const auto answering = bindTo(Protocol::Reply, endpoint);
    const auto asking = client(Protocol::Request, serverKeys, "");
    ask(*asking, *answering, "myself");
    EXPECT_EQ(answering->sender().key, serverKeys.publicKey);
}

TEST_F(ProtectedTcpTest, AKeyThatIsNotKnownIsNotServed) {
    const auto answering = bindTo(Protocol::Reply, endpoint);
    const auto asking = client(Protocol::Request, keys::generateKeyPair(), serverKeys.publicKey);
    send(*asking, "let me in");
    EXPECT_EQ(poll(*answering, refusedWithinMs), 1);
}

TEST_F(ProtectedTcpTest, AServerWithAnotherKeyIsNotSpokenTo) {
    const auto answering = bindTo(Protocol::Reply, endpoint);
    guests->add(guestKeys.publicKey);
    const auto asking = client(Protocol::Request, guestKeys, keys::generateKeyPair().publicKey);
    send(*asking, "to somebody else");
    EXPECT_EQ(poll(*answering, refusedWithinMs), 1);
}

TEST_F(ProtectedTcpTest, WhoHasNoKeyIsNotServed) {
    const auto answering = bindTo(Protocol::Reply, endpoint);
    const auto asking = open(Protocol::Request, endpoint);
    send(*asking, "in the clear");
    EXPECT_EQ(poll(*answering, refusedWithinMs), 1);
}

TEST_F(ProtectedTcpTest, AServerWithoutKeysIsNotSpokenTo) {
    const auto answering = open(Protocol::Reply, endpoint);
    const auto asking = guest(Protocol::Request);
    send(*asking, "a secret");
    EXPECT_EQ(poll(*answering, refusedWithinMs), 1);
}

// Where the library finds nobody to ask about a key it would let everybody in.
TEST_F(ProtectedTcpTest, NobodyIsServedOnceTheProtectionHasEnded) {
    const auto answering = bindTo(Protocol::Reply, endpoint);
    server.reset();
    const auto asking = guest(Protocol::Request);
    send(*asking, "is anybody looking");
    EXPECT_EQ(poll(*answering, refusedWithinMs), 1);
}

TEST_F(ProtectedTcpTest, WhoseKeyIsTakenOutLosesHisConnectionAndOthersDoNot) {
    const auto answering = bindTo(Protocol::Reply, endpoint);
    const auto removed = guest(Protocol::Request);
    const auto otherKeys = keys::generateKeyPair();
    guests->add(otherKeys.publicKey);
    const TcpProtection otherClient({.own = otherKeys, .serverKey = serverKeys.publicKey});
    Socket kept("kept", ClosePolicy::Discard);
    kept.watchConnection();
    kept.protectBy(otherClient);
    kept.createAndConnect(Protocol::Request, endpoint, patienceMs);
    ask(*removed, *answering, "before");
    ask(kept, *answering, "before, too");

    guests->remove(guestKeys.publicKey);

    removed->setTimeout(std::chrono::milliseconds(100));
    EXPECT_TRUE(eventually([&] { return !arrives(*removed, *answering, "after"); }));
    while (poll(*answering, 0) == 0) {
        receive(*answering);
    }
    ask(kept, *answering, "after");
    EXPECT_FALSE(kept.awaitLoss(-1, 0)) << "who may stay had to connect again";
}

// Who only listens has sent nothing but what he subscribes to.
TEST_F(ProtectedTcpTest, ASubscriberWhoseKeyIsTakenOutHearsNothingMore) {
    const auto publishing = bindTo(Protocol::Publish, endpoint);
    const auto listening = guest(Protocol::Subscribe);
    ASSERT_TRUE(publishing->awaitSubscriber(patienceMs));
    send(*publishing, "before");
    ASSERT_EQ(poll(*listening, patienceMs), 0);
    EXPECT_EQ(receive(*listening), "before");

    guests->remove(guestKeys.publicKey);

    EXPECT_TRUE(eventually([&] {
        send(*publishing, "after");
        if (poll(*listening, 100) == 1) {
            return true;
        }
        receive(*listening);
        return false;
    }));
}

TEST_F(ProtectedTcpTest, AnEntranceForOwnProgramsIsForTheOwnKeyAlone) {
    Socket events("server", ClosePolicy::Discard);
    events.protectBy(*server);
    events.setEntrance(Entrance::OwnPrograms);
    events.createAndConnect(Protocol::Pull, endpoint, 0);
    const auto forger = guest(Protocol::Push);
    send(*forger, "forged");
    EXPECT_EQ(poll(events, refusedWithinMs), 1);
    const auto own = client(Protocol::Push, serverKeys, "");
    send(*own, "genuine");
    ASSERT_EQ(poll(events, patienceMs), 0);
    EXPECT_EQ(receive(events), "genuine");
}

TEST_F(ProtectedTcpTest, ASocketMayHaveProtectedEndpointsAndOthers) {
    const auto ipc = ipcEndpoint();
    const auto another = tcpEndpoint();
    const auto receiving = bindTo(Protocol::Pull, endpoint);
    receiving->connect(ipc, 0);
    receiving->connect(another, 0);
    send(*open(Protocol::Push, ipc, 0, ClosePolicy::Flush), "over a file");
    ASSERT_EQ(poll(*receiving, patienceMs), 0);
    EXPECT_EQ(receive(*receiving), "over a file");
    for (const auto& at : {endpoint, another}) {
        const auto plain = open(Protocol::Push, at);
        send(*plain, "in the clear");
        EXPECT_EQ(poll(*receiving, refusedWithinMs), 1);
    }
    const auto sending = guest(Protocol::Push);
    send(*sending, "with a key");
    ASSERT_EQ(poll(*receiving, patienceMs), 0);
    EXPECT_EQ(receive(*receiving), "with a key");
}

TEST_F(ProtectedTcpTest, TheProcessesSocketsAreProtectedWhileItLives) {
    const auto other = tcpEndpoint();
    guests->add(guestKeys.publicKey);
    {
        server->protectProcess();
        const auto answering = open(Protocol::Reply, endpoint);
        const auto asking = open(Protocol::Request, endpoint);
        ask(*asking, *answering, "with the own key");
        EXPECT_EQ(answering->sender().key, serverKeys.publicKey);
    }
    server.reset();
    const auto answering = open(Protocol::Reply, other);
    const auto asking = open(Protocol::Request, other);
    ask(*asking, *answering, "in the clear");
    EXPECT_EQ(answering->sender().key, "");
}

TEST_F(ProtectedTcpTest, ThereIsOneInAProcessAtATime) {
    EXPECT_THROW(TcpProtection({.own = guestKeys, .clients = guests}), std::runtime_error);
}

TEST(PlainTcpTest, IsRefusedBeyondThisMachineWhereKeysAreRequired) {
    const TcpProtection required({.plain = TcpSecurity::Plain::WithinThisMachine});
    Socket everywhere("server", ClosePolicy::Discard);
    everywhere.protectBy(required);
    const auto port = tcpEndpoint().port();
    try {
        everywhere.createAndConnect(Protocol::Reply, {Transport::Tcp, "*", port}, 0);
        FAIL() << "it listens";
    } catch (const std::runtime_error& refusal) {
        EXPECT_NE(std::string(refusal.what()).find("reaches beyond this machine"),
                  std::string::npos)
            << refusal.what();
    }
    EXPECT_THROW(everywhere.createAndConnect(
                     Protocol::Push, SocketEndpoint::FromString("tcp://far.example:5555"), 0),
                 std::runtime_error);
    everywhere.createAndConnect(Protocol::Reply, {Transport::Tcp, "127.0.0.1", port}, 0);
}

TEST(PlainTcpTest, TheLoopbackInterfaceIsThisMachineAndNothingElseIs) {
    const auto isBeyond = [](const char* text) {
        return isBeyondThisMachine(SocketEndpoint::FromString(text));
    };
    EXPECT_FALSE(isBeyond("ipc:///tmp/requests"));
    EXPECT_FALSE(isBeyond("inproc://events"));
    EXPECT_FALSE(isBeyond("tcp://localhost:5555"));
    EXPECT_FALSE(isBeyond("tcp://127.0.0.1:5555"));
    EXPECT_FALSE(isBeyond("tcp://127.8.0.1:5555"));
    EXPECT_FALSE(isBeyond("tcp://[::1]:5555"));
    EXPECT_TRUE(isBeyond("tcp://*:5555"));
    EXPECT_TRUE(isBeyond("tcp://0.0.0.0:5555"));
    EXPECT_TRUE(isBeyond("tcp://[::]:5555"));
    EXPECT_TRUE(isBeyond("tcp://10.0.0.1:5555"));
    EXPECT_TRUE(isBeyond("tcp://127.example.org:5555"));
    EXPECT_TRUE(isBeyond("tcp://localhost.example.org:5555"));
}

}  // namespace tarn::socket::test
