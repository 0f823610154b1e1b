#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zmq.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "tests/platform/socket/RawPeer.h"
#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::HasSubstr;
using testing::ThrowsMessage;

std::unique_ptr<Socket> pushWithQueueOf(int messages, const SocketEndpoint& endpoint) {
    auto push = std::make_unique<Socket>("Sender", ClosePolicy::Discard);
    push->setQueueLength(messages);
    push->createAndConnect(Protocol::Push, endpoint, 0);
    return push;
}

}  // namespace

TEST(PushPullTest, AFullQueueThrowsAtOnce) {
    for (const auto& away : {ipcEndpoint(), tcpEndpoint()}) {
        const auto push = pushWithQueueOf(8, away);
        for (int i = 0; i < 8; ++i) {
            send(*push, std::to_string(i));
        }
        const auto duration = quickestOfThree([&] {
            EXPECT_THAT([&] { send(*push, "one too many"); },
                        ThrowsMessage<std::runtime_error>(
                            "Sender on " + away.toString(Protocol::Push) + ": the queue is full"));
        });
        EXPECT_LT(duration, milliseconds(500));

        const auto pull = open(Protocol::Pull, away);
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(receive(*pull), std::to_string(i));
        }
    }
}

TEST(PushPullTest, ASenderCanWaitForRoomInAFullQueue) {
    const auto endpoint = ipcEndpoint();
    const auto push = pushWithQueueOf(1, endpoint);
    EXPECT_TRUE(push->awaitRoom(0));
    send(*push, "fits");
    EXPECT_FALSE(push->awaitRoom(10));
    const auto pull = open(Protocol::Pull, endpoint);
    EXPECT_TRUE(push->awaitRoom(patienceMs));
    send(*push, "fits too");
    EXPECT_EQ(receive(*pull), "fits");
    EXPECT_EQ(receive(*pull), "fits too");
}

TEST(PushPullTest, AReceiverThatDoesNotReadHoldsNobodyUp) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = pushWithQueueOf(8, endpoint);
    bool isFull = false;
    const auto begin = steady_clock::now();
    for (int i = 0; i < 100000 && !isFull; ++i) {
        try {
            send(*push, std::string(10000, 'x'));
        } catch (const std::runtime_error&) {
            isFull = true;
        }
    }
    EXPECT_TRUE(isFull);
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(PushPullTest, InProcessAFullQueueIsWaitedForButNotForever) {
    const auto push = pushWithQueueOf(1, inProcessEndpoint());
    push->setTimeout(milliseconds(patienceMs));
    send(*push, "fits");
    const auto begin = steady_clock::now();
    EXPECT_THAT([&] { send(*push, "does not"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("the queue is full")));
    EXPECT_GE(steady_clock::now() - begin, milliseconds(1000));
    EXPECT_LT(steady_clock::now() - begin, milliseconds(20000));
}

TEST(PushPullTest, InProcessNothingIsLostWhileTheReceiverCatchesUp) {
    constexpr int count = 5000;
    const auto endpoint = inProcessEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = pushWithQueueOf(10, endpoint);
    std::thread sender([&] {
        for (int i = 0; i < count; ++i) {
            send(*push, std::to_string(i));
        }
    });
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(receive(*pull), std::to_string(i));
    }
    sender.join();
}

TEST(PushPullTest, ASocketMayMoveBetweenThreads) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    std::unique_ptr<Socket> push;
    std::thread([&] { push = open(Protocol::Push, endpoint, patienceMs); }).join();
    for (int i = 0; i < 5; ++i) {
        std::thread([&] { send(*push, std::to_string(i)); }).join();
        std::thread([&] { EXPECT_EQ(receive(*pull), std::to_string(i)); }).join();
    }
    std::thread([&] { push.reset(); }).join();
}

TEST(PushPullTest, AMessageOfSeveralFramesIsDropped) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    RawPeer peer(ZMQ_PUSH, endpoint);
    const auto good = message("x").SerializePartialAsString();
    ASSERT_TRUE(peer.send({good, good, good}));
    ASSERT_TRUE(peer.send({good}));
    EXPECT_THAT([&] { receive(*pull); },
                ThrowsMessage<std::runtime_error>(HasSubstr("several frames")));
    EXPECT_EQ(receive(*pull), "x");
}

}  // namespace tarn::socket::test
