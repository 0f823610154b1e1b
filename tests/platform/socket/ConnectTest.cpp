#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

/// Accepts on an IPC endpoint, and says nothing.
class SilentServer {
  public:
    explicit SilentServer(const SocketEndpoint& endpoint) : path("/tmp/" + endpoint.host()) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        auto* generic = static_cast<sockaddr*>(static_cast<void*>(&address));
        EXPECT_EQ(::bind(listening, generic, sizeof(address)), 0);
        EXPECT_EQ(::listen(listening, 10), 0);
    }
    ~SilentServer() {
        ::close(listening);
        ::unlink(path.c_str());
    }

    /// Whether somebody connects within the time; hangs up.
    bool isCalled(int timeoutMs) {
        pollfd item{listening, POLLIN, 0};
        if (::poll(&item, 1, timeoutMs) != 1) {
            return false;
        }
        ::close(::accept(listening, nullptr, nullptr));
        return true;
    }

  private:
    const std::string path;
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

// Closing is done in the background: a call or two may come meanwhile, but they must end.
void expectNobodyCalls(const SocketEndpoint& endpoint) {
    SilentServer server(endpoint);
    int calls = 0;
    while (server.isCalled(100) && calls < 30) {  // ten times the interval of trying again
        ++calls;
    }
    EXPECT_LT(calls, 30);
}

}  // namespace

TEST(ConnectTest, WaitsForAPeerNoLongerThanItIsTold) {
    for (const auto& endpoint : {ipcEndpoint(), tcpEndpoint()}) {
        Socket socket("Caller", ClosePolicy::Discard);
        const auto begin = steady_clock::now();
        EXPECT_THAT([&] { socket.createAndConnect(Protocol::Request, endpoint, 100); },
                    ThrowsMessage<std::runtime_error>("Caller: nobody answered on " +
                                                      endpoint.toString(Protocol::Request) +
                                                      " within 100 ms"));
        EXPECT_GE(steady_clock::now() - begin, milliseconds(100));
        EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(5));
        // It was closed, and can be opened again.
        EXPECT_NO_THROW(socket.createAndConnect(Protocol::Request, endpoint, 0));
    }
}

TEST(ConnectTest, APeerThatAcceptsButDoesNotSpeakIsNoPeer) {
    const auto endpoint = ipcEndpoint();
    SilentServer server(endpoint);
    EXPECT_THROW(open(Protocol::Push, endpoint, 50), std::runtime_error);
}

TEST(ConnectTest, NothingIsLeftOfAConnectionThatWasNotMade) {
    const auto endpoint = ipcEndpoint();
    Socket socket("Caller", ClosePolicy::Discard);
    socket.create(Protocol::Push);
    EXPECT_THROW(socket.connect(endpoint, 30), std::runtime_error);
    EXPECT_THAT([&] { send(socket, "x"); },
                ThrowsMessage<std::runtime_error>("Caller: the socket is not open"));
    expectNobodyCalls(endpoint);
    const auto pull = open(Protocol::Pull, endpoint);
    socket.connect(endpoint, patienceMs);
    send(socket, "x");
    EXPECT_EQ(receive(*pull), "x");
}

TEST(ConnectTest, APeerThatComesInTimeIsWaitedFor) {
    const auto endpoint = ipcEndpoint();
    std::unique_ptr<Socket> push;
    std::thread connecting([&] { push = open(Protocol::Push, endpoint, patienceMs); });
    const auto pull = open(Protocol::Pull, endpoint);
    connecting.join();
    ASSERT_NE(push, nullptr);
    send(*push, "x");
    EXPECT_EQ(receive(*pull), "x");
}

TEST(ConnectTest, ASecondConnectionReplacesTheFirst) {
    const auto firstEndpoint = ipcEndpoint();
    const auto secondEndpoint = tcpEndpoint();
    const auto first = open(Protocol::Pull, firstEndpoint);
    const auto second = open(Protocol::Pull, secondEndpoint);
    const auto push = open(Protocol::Push, firstEndpoint, patienceMs);
    push->connect(secondEndpoint, patienceMs);
    EXPECT_EQ(push->debugString(), "test socket on " + secondEndpoint.toString(Protocol::Push));
    for (int i = 0; i < 10; ++i) {
        send(*push, std::to_string(i));
        EXPECT_EQ(receive(*second), std::to_string(i));
    }
    EXPECT_EQ(poll(*first, 0), 1);
}

TEST(ConnectTest, ASecondConnectionDropsWhatTheFirstHeld) {
    const auto away = ipcEndpoint();
    const auto push = open(Protocol::Push, away, 0, ClosePolicy::Flush);
    send(*push, "held");
    const auto present = ipcEndpoint();
    const auto pull = open(Protocol::Pull, present);
    push->connect(present, patienceMs);
    send(*push, "x");
    EXPECT_EQ(receive(*pull), "x");
    expectNobodyCalls(away);
    const auto late = open(Protocol::Pull, away);
    EXPECT_EQ(poll(*late, 50), 1);
}

TEST(ConnectTest, AServerOnTheLoopbackAddressIsFoundAsLocalhost) {
    const auto endpoint = tcpEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push =
        open(Protocol::Push, SocketEndpoint(Transport::Tcp, "localhost", endpoint.port()), 5000);
    send(*push, "x");
    EXPECT_EQ(receive(*pull), "x");
}

TEST(ConnectTest, AServerMayListenOnLocalhostAndBeCalledOnEveryInterface) {
    const auto endpoint = tcpEndpoint("localhost");
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push =
        open(Protocol::Push, SocketEndpoint(Transport::Tcp, "*", endpoint.port()), patienceMs);
    EXPECT_EQ(push->debugString(), "test socket on " + endpoint.toString(Protocol::Push));
    send(*push, "x");
    EXPECT_EQ(receive(*pull), "x");
}

TEST(ConnectTest, ALossIsToldOfWhatIsWatchedAlone) {
    const auto endpoint = ipcEndpoint();
    auto server = open(Protocol::Reply, endpoint);
    const auto unwatched = open(Protocol::Request, endpoint, patienceMs);
    EXPECT_THROW(unwatched->awaitLoss(-1, 0), std::invalid_argument);
    EXPECT_THROW(unwatched->watchConnection(), std::invalid_argument);

    Socket watched("watched", ClosePolicy::Discard);
    watched.watchConnection();
    watched.createAndConnect(Protocol::Request, endpoint, patienceMs);
    EXPECT_FALSE(watched.awaitLoss(-1, 0));
    server.reset();
    EXPECT_TRUE(watched.awaitLoss(-1, patienceMs));
}

TEST(ConnectTest, NothingTellsOfALossInTheSameProcess) {
    Socket watched("watched", ClosePolicy::Discard);
    watched.watchConnection();
    watched.createAndConnect(Protocol::Request, inProcessEndpoint(), 0);
    EXPECT_THROW(watched.awaitLoss(-1, 0), std::runtime_error);
}

TEST(ConnectTest, EndpointsThatNoTextGivesAreRefused) {
    const std::string withZero("a\0b", 3);
    for (const auto& endpoint :
         {SocketEndpoint(), SocketEndpoint(Transport::Ipc, withZero, 0),
          SocketEndpoint(Transport::Tcp, "localhost", 0), SocketEndpoint(Transport::Tcp, "a b", 1),
          SocketEndpoint(Transport::InProcess, "", 0)}) {
        for (const auto protocol : {Protocol::Push, Protocol::Pull}) {
            EXPECT_THAT([&] { open(protocol, endpoint); },
                        ThrowsMessage<std::invalid_argument>(HasSubstr("bad endpoint")));
        }
    }
}

}  // namespace tarn::socket::test
