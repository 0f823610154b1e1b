#include <gtest/gtest.h>
#include <zmq.h>

#include <chrono>

#include "tests/platform/socket/RawPeer.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/ResidentMemory.h"
#include "tests/support/peers/SilentSubscriber.h"

namespace tarn::socket::test {

namespace {

class PublishSubscribeTest : public testing::Test {
  protected:
    std::unique_ptr<Socket> subscriber() {
        auto socket = open(Protocol::Subscribe, endpoint, patienceMs);
        int tries = 0;  // the subscription is on its way for a moment after the handshake
        do {
            send(*publish, "are you there?");
        } while (poll(*socket, 10) != 0 && ++tries < 1000);
        EXPECT_EQ(receive(*socket), "are you there?");
        return socket;
    }

    const SocketEndpoint endpoint = ipcEndpoint();
    std::unique_ptr<Socket> publish = open(Protocol::Publish, endpoint);
};

}  // namespace

TEST_F(PublishSubscribeTest, PublishingNeedsNobody) {
    for (int i = 0; i < 10000; ++i) {
        send(*publish, "nobody hears this");
    }
}

TEST_F(PublishSubscribeTest, WhoHadSubscribedBeforeItWasClosedIsNoSubscriberAfterwards) {
    const auto other = open(Protocol::Subscribe, endpoint, patienceMs);
    EXPECT_TRUE(publish->awaitSubscriber(patienceMs));
    publish->close();
    publish->createAndConnect(Protocol::Publish, ipcEndpoint(), 0);
    EXPECT_FALSE(publish->awaitSubscriber(0));
}

TEST_F(PublishSubscribeTest, ASubscriberInTheProcessFindsThePublisherThatComesBack) {
    const auto place = inProcessEndpoint();
    auto first = open(Protocol::Publish, place);
    const auto subscriber = open(Protocol::Subscribe, place);
    EXPECT_TRUE(first->awaitSubscriber(patienceMs));
    first.reset();
    const auto second = open(Protocol::Publish, place);
    EXPECT_EQ(poll(*subscriber, 0), 1);
    EXPECT_TRUE(second->awaitSubscriber(patienceMs));
    send(*second, "back");
    EXPECT_EQ(receive(*subscriber), "back");
}

TEST_F(PublishSubscribeTest, ASubscriberThatDoesNotReadHarmsNobody) {
    const auto idle = subscriber();
    const auto busy = subscriber();
    while (poll(*busy, 0) == 0) {
        receive(*busy);
    }
    const std::string text(10000, 'x');
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 5000; ++i) {
        send(*publish, text);
        ASSERT_EQ(receive(*busy), text);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    // The idle one got what fits, not everything.
    int kept = 0;
    while (poll(*idle, 0) == 0) {
        receive(*idle);
        ++kept;
    }
    EXPECT_GT(kept, 0);
    EXPECT_LT(kept, 5000);
}

TEST_F(PublishSubscribeTest, ASubscriberThatChattersHarmsNobody) {
    RawPeer chatterer(ZMQ_XSUB, endpoint);
    const std::string subscribe("\1", 1);
    for (int i = 0; i < 20000; ++i) {
        chatterer.send({subscribe + std::to_string(i)});
        chatterer.send({"no announcement at all"});
    }
    const auto other = subscriber();
    send(*publish, "x");
    std::string text;
    while (text != "x") {
        text = receive(*other);
    }
}

TEST_F(PublishSubscribeTest, ATopicThatIsTooLongEndsTheConnectionAndCostsNothing) {
    RawPeer allowed(ZMQ_SUB, endpoint);
    const std::string longest(256, 'x');
    allowed.subscribe(longest);
    const auto other = subscriber();
    const auto before = tarn::test::residentBytes();
    for (const std::size_t size : {std::size_t{300}, std::size_t{16} << 20}) {
        tarn::test::SilentSubscriber refused(endpoint.toString(Protocol::None),
                                             std::string(size, 'y'));
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (refused.isConnected()) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << size;
            publish->sendBytes(longest);  // what has come is only looked at then
        }
    }
    EXPECT_LT(tarn::test::residentBytes(), before + (std::size_t{100} << 20));
    for (int tries = 0; tries < 1000 && !allowed.poll(10); ++tries) {
        publish->sendBytes(longest);
    }
    EXPECT_EQ(allowed.receive(), std::vector<std::string>{longest});
}

TEST_F(PublishSubscribeTest, AClosedPublisherIsFoundAgain) {
    const auto socket = subscriber();
    publish.reset();
    publish = open(Protocol::Publish, endpoint);
    int tries = 0;
    do {
        send(*publish, "back");
    } while (poll(*socket, 10) != 0 && ++tries < 1000);
    std::string text;
    while (text != "back") {
        text = receive(*socket);
    }
}

TEST_F(PublishSubscribeTest, APublisherIsToldOfEachNewSubscriberOnce) {
    EXPECT_FALSE(publish->awaitSubscriber(0));
    const auto first = open(Protocol::Subscribe, endpoint);
    EXPECT_TRUE(publish->awaitSubscriber(patienceMs));
    send(*publish, "for the first");
    EXPECT_EQ(receive(*first), "for the first");
    EXPECT_FALSE(publish->awaitSubscriber(0));
    const auto second = open(Protocol::Subscribe, endpoint);
    EXPECT_TRUE(publish->awaitSubscriber(patienceMs));
    send(*publish, "for both");
    EXPECT_EQ(receive(*second), "for both");
}

TEST_F(PublishSubscribeTest, ASubscriberThatCameBeforeSomethingWasSentIsToldOfAfterwards) {
    const auto socket = subscriber();
    EXPECT_TRUE(publish->awaitSubscriber(0));
    EXPECT_THROW(socket->awaitSubscriber(0), std::invalid_argument);
}

TEST_F(PublishSubscribeTest, EachOnlyGoesOneWay) {
    Message any;
    EXPECT_THROW(publish->receiveProtoBuf(&any, maxBytes), std::invalid_argument);
    const auto socket = open(Protocol::Subscribe, endpoint, patienceMs);
    EXPECT_THROW(socket->sendProtoBuf(&any), std::invalid_argument);
    std::string error;
    EXPECT_EQ(publish->poll(0, error), 2);
    EXPECT_EQ(error, publish->debugString() + ": the socket only sends");
}

}  // namespace tarn::socket::test
