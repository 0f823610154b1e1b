#include "platform/socket/Socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "platform/socket/zmq/Context.h"
#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::HasSubstr;

/// Interrupts this thread every few milliseconds.
class Interruptions {
  public:
    Interruptions() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGALRM, &action, &before);
        set(3000);
    }
    ~Interruptions() {
        set(0);
        ::sigaction(SIGALRM, &before, nullptr);
    }

  private:
    static void set(suseconds_t period) {
        const itimerval timer{{0, period}, {0, period}};
        ::setitimer(ITIMER_REAL, &timer, nullptr);
    }

    struct sigaction before {};
};

}  // namespace

TEST(SocketTest, ARoleIsChosenOnce) {
    Socket socket("s", ClosePolicy::Discard);
    EXPECT_THROW(socket.create(Protocol::None), std::invalid_argument);
    EXPECT_THROW(socket.create(static_cast<Protocol>(7)), std::invalid_argument);
    EXPECT_THROW(socket.connect(ipcEndpoint(), 0), std::invalid_argument);
    socket.create(Protocol::Pull);
    EXPECT_THROW(socket.create(Protocol::Pull), std::invalid_argument);
    socket.close();
    socket.close();
    EXPECT_NO_THROW(socket.createAndConnect(Protocol::Push, ipcEndpoint(), 0));
    EXPECT_THROW(socket.createAndConnect(Protocol::Push, ipcEndpoint(), 0), std::invalid_argument);
    EXPECT_NO_THROW(send(socket, "still open"));
}

TEST(SocketTest, AQueuesLengthIsSetBeforeOpening) {
    Socket socket("s", ClosePolicy::Discard);
    EXPECT_THROW(socket.setQueueLength(0), std::invalid_argument);
    EXPECT_NO_THROW(socket.setQueueLength(1));
    socket.createAndConnect(Protocol::Push, ipcEndpoint(), 0);
    EXPECT_THROW(socket.setQueueLength(5), std::invalid_argument);
}

TEST(SocketTest, NothingCanBeDoneWithAClosedSocket) {
    Socket socket("Closed", ClosePolicy::Discard);
    EXPECT_EQ(socket.debugString(), "Closed");
    std::string error;
    EXPECT_EQ(socket.poll(0, error), 2);
    EXPECT_EQ(error, "Closed: the socket is not open");
    EXPECT_THROW(send(socket, "x"), std::runtime_error);
    EXPECT_THROW(receive(socket), std::runtime_error);
}

TEST(SocketTest, MessagesAreNotNull) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint);
    EXPECT_THROW(push->sendProtoBuf(nullptr), std::invalid_argument);
    EXPECT_THROW(pull->receiveProtoBuf(nullptr, maxBytes), std::invalid_argument);
}

TEST(SocketTest, PollingEndsInTimeThoughItIsInterrupted) {
    const auto pull = open(Protocol::Pull, ipcEndpoint());
    const Interruptions interruptions;
    const auto duration = durationOf([&] { EXPECT_EQ(poll(*pull, 100), 1); });
    EXPECT_GE(duration, milliseconds(100));
    EXPECT_LT(duration, milliseconds(10000));
}

TEST(SocketTest, InterruptionsLoseNoMessages) {
    const auto endpoint = ipcEndpoint();
    const auto reply = open(Protocol::Reply, endpoint);
    const auto request = open(Protocol::Request, endpoint, patienceMs);
    const Interruptions interruptions;
    for (int i = 0; i < 1000; ++i) {
        send(*request, "x");
        EXPECT_EQ(receive(*reply), "x");
        send(*reply, "y");
        EXPECT_EQ(receive(*request), "y");
    }
}

TEST(SocketTest, PollingEndsEarlyForADescriptor) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    ASSERT_EQ(::write(pipe[1], "x", 1), 1);
    std::string error;
    const auto duration = durationOf([&] { EXPECT_EQ(pull->pollWith(pipe[0], 60000, error), 1); });
    EXPECT_LT(duration, milliseconds(30000));
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    send(*push, "x");
    ASSERT_EQ(poll(*pull, patienceMs), 0);
    EXPECT_EQ(pull->pollWith(pipe[0], 0, error), 0);
    ::close(pipe[0]);
    ::close(pipe[1]);
}

TEST(SocketTest, FlushingLetsOutWhatIsUnsent) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    const std::string large(1U << 19, 'x');
    {
        const auto push = open(Protocol::Push, endpoint, 0, ClosePolicy::Flush);
        for (int i = 0; i < 20; ++i) {
            send(*push, large);
        }
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(receive(*pull), large);
    }
}

TEST(SocketTest, ClosingNeverHangs) {
    for (const auto& away : {ipcEndpoint(), tcpEndpoint(), inProcessEndpoint()}) {
        for (const auto policy : {ClosePolicy::Discard, ClosePolicy::Flush}) {
            const auto openSendAndClose = [&] {
                const auto push = open(Protocol::Push, away, 0, policy);
                send(*push, "unsent");
            };
            const auto duration = policy == ClosePolicy::Discard ? quickestOfThree(openSendAndClose)
                                                                 : durationOf(openSendAndClose);
            const milliseconds bound(policy == ClosePolicy::Discard ? 900 : 20000);
            EXPECT_LT(duration, bound) << away.toString(Protocol::Push);
        }
    }
}

TEST(SocketTest, DiscardingDropsWhatIsUnsent) {
    const auto away = ipcEndpoint();
    send(*open(Protocol::Push, away), "unsent");
    const auto pull = open(Protocol::Pull, away);
    EXPECT_EQ(poll(*pull, 50), 1);
}

TEST(SocketTest, WhatIsFlushedWaitsForAReceiverWhileOthersGoOn) {
    const auto away = ipcEndpoint();
    const auto other = open(Protocol::Pull, ipcEndpoint());  // keeps the context
    const auto duration = quickestOfThree(
        [&] { send(*open(Protocol::Push, away, 0, ClosePolicy::Flush), "unsent"); });
    EXPECT_LT(duration, milliseconds(900));
    const auto pull = open(Protocol::Pull, away);
    EXPECT_EQ(receive(*pull), "unsent");
}

TEST(SocketTest, ManySocketsCanBeOpenAtOnce) {
    std::vector<std::unique_ptr<Socket>> sockets;
    const auto endpoint = inProcessEndpoint();
    for (int i = 0; i < 500; ++i) {
        sockets.push_back(open(Protocol::Push, endpoint));
    }
    EXPECT_NO_THROW(send(*sockets.back(), "x"));
}

TEST(SocketTest, TheContextLivesAsLongAsItsLastSocket) {
    std::weak_ptr<Context> context;
    {
        const auto first = open(Protocol::Pull, ipcEndpoint());
        auto second = open(Protocol::Pull, ipcEndpoint());
        context = Context::Get();
        second.reset();
        EXPECT_FALSE(context.expired());
        EXPECT_EQ(Context::Get(), context.lock());
    }
    EXPECT_TRUE(context.expired());
}

TEST(SocketTest, TerminatingTheContextEndsWaiting) {
    const auto endpoint = ipcEndpoint();
    auto pull = open(Protocol::Pull, endpoint);
    std::promise<void> ended;
    std::thread waiting([&] {
        std::string error;
        EXPECT_THROW(pull->poll(60000, error), ZmqContextTerminationException);
        EXPECT_THROW(receive(*pull), ZmqContextTerminationException);
        ended.set_value();
    });
    Context::Shutdown();
    EXPECT_EQ(ended.get_future().wait_for(milliseconds(patienceMs)), std::future_status::ready);
    waiting.join();
    pull.reset();

    pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    send(*push, "in a new context");
    EXPECT_EQ(receive(*pull), "in a new context");
}

}  // namespace tarn::socket::test
