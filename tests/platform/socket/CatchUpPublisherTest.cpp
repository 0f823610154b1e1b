#include "platform/socket/CatchUpPublisher.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <zmq.h>

#include <chrono>
#include <vector>

#include "tests/platform/socket/RawPeer.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/Eventually.h"
#include "tests/support/ResidentMemory.h"
#include "tests/support/peers/SilentSubscriber.h"

namespace tarn::socket::test {

namespace {

using Announcement = CatchUpPublisher::Announcement;
using Delivery = CatchUpPublisher::Delivery;

constexpr int queueLength = 16;
const CatchUpPublisher::Wire wire = {.everybody = "E", .filler = "E filler"};

// Without the count in a first message.
std::string uncounted(Socket& socket) {
    auto bytes = socket.receiveBytes(maxBytes);
    return bytes.starts_with("N") ? "N" + bytes.substr(bytes.find(' ')) : bytes;
}

class CatchUpPublisherTest : public testing::Test {
  protected:
    CatchUpPublisherTest() { publisher.listen(endpoint); }

    std::unique_ptr<Socket> subscriber() {
        auto socket = std::make_unique<Socket>("Subscriber", ClosePolicy::Discard);
        socket->setQueueLength(queueLength);
        socket->createAndConnect(Protocol::Subscribe, endpoint, patienceMs);
        return socket;
    }

    Announcement awaitAnnouncement() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            const auto announcement = publisher.nextAnnouncement();
            if (announcement != Announcement::None) {
                return announcement;
            }
            pollfd ready{.fd = publisher.descriptor(), .events = POLLIN, .revents = 0};
            ::poll(&ready, 1, 10000);
        }
        return Announcement::None;
    }

    /// The first message is "N<count> <text>".
    void admit(const std::string& text) {
        const auto address = nextAddress();
        publisher.admit(address);
        publisher.welcome(address, text);
    }

    std::string nextAddress() { return "N" + std::to_string(++admissions) + " "; }

    std::unique_ptr<Socket> admitted() {
        auto socket = subscriber();
        EXPECT_EQ(awaitAnnouncement(), Announcement::Came);
        admit("welcome");
        EXPECT_EQ(uncounted(*socket), "N welcome");
        return socket;
    }

    const SocketEndpoint endpoint = ipcEndpoint();
    CatchUpPublisher publisher{"Publisher", wire, queueLength};
    int admissions = 0;
};

void awaitClosed(tarn::test::SilentSubscriber& subscriber) {
    ASSERT_TRUE(tarn::test::eventually([&] { return !subscriber.isConnected(); }));
}

std::vector<std::string> receiveAll(Socket& socket, const std::string& last) {
    std::vector<std::string> all;
    while (all.empty() || all.back() != last) {
        all.push_back(uncounted(socket));
    }
    return all;
}

std::string receiveNext(Socket& socket) {
    std::string bytes;
    do {
        bytes = socket.receiveBytes(maxBytes);
    } while (bytes == wire.filler);
    return bytes;
}

}  // namespace

TEST_F(CatchUpPublisherTest, PublishingNeedsNobody) {
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(publisher.publish("E", "nobody hears this"), Delivery::ToAll);
    }
}

TEST_F(CatchUpPublisherTest, ANewcomerIsAnnounced) {
    EXPECT_EQ(publisher.nextAnnouncement(), Announcement::None);
    const auto socket = subscriber();
    EXPECT_EQ(awaitAnnouncement(), Announcement::Came);
    EXPECT_EQ(publisher.nextAnnouncement(), Announcement::None);
}

TEST_F(CatchUpPublisherTest, ANewcomerGetsNothingBeforeItIsAdmittedAndNoGapAfter) {
    const auto socket = subscriber();
    EXPECT_EQ(awaitAnnouncement(), Announcement::Came);
    publisher.publish("E", " before");
    admit("first");
    publisher.publish("E", " after");
    EXPECT_EQ(receiveAll(*socket, "E after"), (std::vector<std::string>{"N first", "E after"}));
}

TEST_F(CatchUpPublisherTest, ANewcomersFirstMessageGoesToNobodyElse) {
    const auto first = admitted();
    const auto second = admitted();
    const auto third = admitted();
    publisher.publish("E", " all");
    for (const auto& socket : {first.get(), second.get(), third.get()}) {
        EXPECT_EQ(receiveAll(*socket, "E all"), std::vector<std::string>{"E all"});
    }
}

TEST_F(CatchUpPublisherTest, NewcomersThatComeTogetherAreAdmittedOneByOne) {
    std::vector<std::unique_ptr<Socket>> sockets;
    for (int i = 0; i < 20; ++i) {
        sockets.push_back(subscriber());
    }
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(awaitAnnouncement(), Announcement::Came);
        admit(std::to_string(i));
    }
    publisher.publish("E", "");
    for (const auto& socket : sockets) {
        EXPECT_EQ(receiveAll(*socket, "E").size(), 2U);
    }
}

TEST_F(CatchUpPublisherTest, ThoseWhoAreAdmittedTogetherShareTheirFirstMessage) {
    constexpr int count = 50;
    const auto reader = subscriber();
    const auto address = nextAddress();
    ASSERT_EQ(awaitAnnouncement(), Announcement::Came);
    publisher.admit(address);
    std::vector<std::unique_ptr<tarn::test::SilentSubscriber>> others;
    for (int i = 0; i < count; ++i) {
        others.push_back(
            std::make_unique<tarn::test::SilentSubscriber>(endpoint.toString(Protocol::None)));
        ASSERT_EQ(awaitAnnouncement(), Announcement::Came);
        publisher.admit(address);
    }
    const std::string body(1000000, 'x');
    const auto before = tarn::test::residentBytes();
    publisher.welcome(address, body);
    publisher.publish("E", "all");
    EXPECT_EQ(receiveAll(*reader, "Eall"), (std::vector<std::string>{"N " + body, "Eall"}));
    EXPECT_LT(tarn::test::residentBytes(), before + 10 * body.size());
}

TEST_F(CatchUpPublisherTest, WhoSubscribesAgainIsNoNewcomer) {
    RawPeer peer(ZMQ_SUB, endpoint);
    peer.subscribe("");
    EXPECT_EQ(awaitAnnouncement(), Announcement::Came);
    admit("welcome");
    for (const auto* topic : {"a", "b", "c"}) {
        peer.subscribe(topic);
        EXPECT_EQ(awaitAnnouncement(), Announcement::Again);
    }
    peer.unsubscribe("a");
    EXPECT_EQ(awaitAnnouncement(), Announcement::Left);
    peer.subscribe("a");
    EXPECT_EQ(awaitAnnouncement(), Announcement::Again);
    publisher.publish("E", "all");
    EXPECT_TRUE(peer.receive().at(0).starts_with("N"));
    EXPECT_EQ(peer.receive().at(0), "Eall");
}

TEST_F(CatchUpPublisherTest, WhoComesInTheConnectionOfAnotherIsANewcomer) {
    // Descriptors are used again at once.
    for (int i = 0; i < 50; ++i) {
        auto socket = admitted();
        socket.reset();
        ASSERT_EQ(awaitAnnouncement(), Announcement::Left);
    }
}

TEST_F(CatchUpPublisherTest, TellsWhetherSomebodyWaits) {
    EXPECT_FALSE(publisher.hasAnnouncements());
    const auto socket = subscriber();
    EXPECT_TRUE(tarn::test::eventually([&] { return publisher.hasAnnouncements(); }));
    EXPECT_EQ(publisher.nextAnnouncement(), Announcement::Came);
    EXPECT_FALSE(publisher.hasAnnouncements());
}

TEST_F(CatchUpPublisherTest, WhoWantsTooLongATopicIsCutOff) {
    RawPeer allowed(ZMQ_SUB, endpoint);
    allowed.subscribe(std::string(256, 'x'));
    EXPECT_EQ(awaitAnnouncement(), Announcement::Came);
    tarn::test::SilentSubscriber refused(endpoint.toString(Protocol::None), std::string(300, 'x'));
    awaitClosed(refused);
    const auto other = subscriber();
    EXPECT_EQ(awaitAnnouncement(), Announcement::Came);
    admit("welcome");
    EXPECT_EQ(receiveAll(*other, "N welcome").size(), 1U);
}

TEST_F(CatchUpPublisherTest, WhoLeavesIsAnnounced) {
    auto socket = admitted();
    const auto other = admitted();
    socket.reset();
    EXPECT_EQ(awaitAnnouncement(), Announcement::Left);
    publisher.publish("E", "still here");
    EXPECT_EQ(other->receiveBytes(maxBytes), "Estill here");
}

TEST_F(CatchUpPublisherTest, WhoLeftBeforeItWasAdmittedHarmsNobody) {
    auto socket = subscriber();
    EXPECT_EQ(awaitAnnouncement(), Announcement::Came);
    socket.reset();
    EXPECT_EQ(awaitAnnouncement(), Announcement::Left);
    const auto other = admitted();
    admit("too late");
    publisher.publish("E", "");
    EXPECT_EQ(receiveAll(*other, "E").back(), "E");
}

TEST_F(CatchUpPublisherTest, ANewcomerIsAdmittedWhileOthersLeave) {
    for (int round = 0; round < 200; ++round) {
        std::vector<std::unique_ptr<Socket>> others;
        for (int i = 0; i < 4; ++i) {
            others.push_back(admitted());
        }
        auto newcomer = subscriber();
        others.clear();
        int left = 0;
        while (awaitAnnouncement() != Announcement::Came) {
            ++left;
        }
        // What is still to be done about those who leave gets in between, if it can.
        pollfd ready{.fd = publisher.descriptor(), .events = POLLIN, .revents = 0};
        ::poll(&ready, 1, 10);
        admit("welcome");
        publisher.publish("E", "all");
        ASSERT_EQ(receiveAll(*newcomer, "Eall"), (std::vector<std::string>{"N welcome", "Eall"}));
        newcomer.reset();
        for (; left < 5; ++left) {
            ASSERT_EQ(awaitAnnouncement(), Announcement::Left);
        }
    }
}

TEST_F(CatchUpPublisherTest, SaysOnceThatASubscriberIsTooSlowAndDropsForThatOneOnly) {
    // One before and one behind the others, wherever the library has them.
    std::vector<std::unique_ptr<Socket>> sockets;
    for (int i = 0; i < 6; ++i) {
        sockets.push_back(admitted());
    }
    const auto& idle = sockets[2];
    const std::string text(100000, 'x');
    int told = 0;
    for (int i = 0; i < 300; ++i) {
        const auto head = "E" + std::to_string(i) + " ";
        told += publisher.publish(head, text) == Delivery::SomeLost ? 1 : 0;
        for (const auto& busy : sockets) {
            if (busy != idle) {
                ASSERT_EQ(receiveNext(*busy), head + text);
            }
        }
    }
    EXPECT_EQ(told, 1);
    int kept = 0;
    while (poll(*idle, 100) == 0) {
        EXPECT_EQ(receiveNext(*idle), "E" + std::to_string(kept) + " " + text);
        ++kept;
    }
    EXPECT_GT(kept, 0);
    EXPECT_LT(kept, 300);
    for (int tries = 0; tries < 1000 && poll(*idle, 10) != 0; ++tries) {
        publisher.publish("E", " again");
    }
    EXPECT_EQ(receiveNext(*idle), "E again");
}

TEST_F(CatchUpPublisherTest, ManyWhoDoNotReadHarmNobody) {
    std::vector<std::unique_ptr<Socket>> idle;
    std::vector<std::unique_ptr<Socket>> busy;
    for (int i = 0; i < 10; ++i) {
        idle.push_back(admitted());
        busy.push_back(admitted());
    }
    const std::string text(100000, 'x');
    for (int i = 0; i < 100; ++i) {
        const auto head = "E" + std::to_string(i) + " ";
        publisher.publish(head, text);
        for (const auto& socket : busy) {
            ASSERT_EQ(receiveNext(*socket), head + text);
        }
    }
}

TEST_F(CatchUpPublisherTest, WhoSendsNonsenseKeepsNobodyOut) {
    RawPeer chatterer(ZMQ_XSUB, endpoint);
    std::vector<std::unique_ptr<Socket>> sockets;
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(chatterer.send({"no announcement at all"}));
        sockets.push_back(subscriber());
    }
    for (int i = 0; i < 20; ++i) {
        ASSERT_NE(awaitAnnouncement(), Announcement::None);
        admit("");
    }
    publisher.publish("E", "");
    for (const auto& socket : sockets) {
        EXPECT_EQ(receiveAll(*socket, "E").back(), "E");
    }
}

TEST_F(CatchUpPublisherTest, WhoSendsMoreThanAnAnnouncementIsCutOff) {
    const auto other = admitted();
    RawPeer chatterer(ZMQ_XSUB, endpoint);
    ASSERT_TRUE(chatterer.send({std::string(100000, 'x')}));
    ASSERT_TRUE(chatterer.send({"what comes after it"}));
    RawPeer brief(ZMQ_XSUB, endpoint);
    ASSERT_TRUE(brief.send({"no announcement either"}));
    EXPECT_EQ(awaitAnnouncement(), Announcement::Unclear);
    EXPECT_EQ(publisher.nextAnnouncement(), Announcement::None);
    publisher.publish("E", "");
    EXPECT_EQ(receiveAll(*other, "E").size(), 1U);
}

TEST_F(CatchUpPublisherTest, AnEndpointInUseIsRefused) {
    CatchUpPublisher second("Second", wire, queueLength);
    try {
        second.listen(endpoint);
        FAIL() << "it took the endpoint";
    } catch (const std::runtime_error& failure) {
        EXPECT_EQ(std::string(failure.what()).rfind("Second: cannot listen on ", 0), 0U);
    }
}

TEST_F(CatchUpPublisherTest, NamesItsEndpoint) {
    EXPECT_EQ(publisher.debugString(), "Publisher on " + endpoint.toString(Protocol::Publish));
}

/// Beside those who subscribe to whatever, some who subscribe to one topic.
class PublishedTopicTest : public CatchUpPublisherTest {
  protected:
    PublishedTopicTest() { withTopic.listen(topicEndpoint); }

    std::unique_ptr<Socket> subscribed(const std::string& topic) {
        auto socket = std::make_unique<Socket>("Subscriber", ClosePolicy::Discard);
        socket->setTopic(topic);
        socket->createAndConnect(Protocol::Subscribe, topicEndpoint, patienceMs);
        return socket;
    }

    /// Lets the next one in, with "welcome" behind its address.
    void letIn(std::size_t wireNumber) {
        Announcement announcement = Announcement::None;
        ASSERT_TRUE(tarn::test::eventually([&] {
            announcement = withTopic.nextAnnouncement();
            return announcement != Announcement::None;
        }));
        ASSERT_EQ(announcement, Announcement::Came);
        EXPECT_EQ(withTopic.wireOfAnnouncement(), wireNumber);
        const auto address = (wireNumber == 0 ? "" : "T") + nextAddress();
        withTopic.admit(address);
        withTopic.welcome(address, "welcome");
    }

    void publishBoth() {
        withTopic.publish("E", " all");
        withTopic.publish("TE", " topic", 1);
    }

    const SocketEndpoint topicEndpoint = ipcEndpoint();
    CatchUpPublisher withTopic{"Publisher",
                               std::vector<CatchUpPublisher::Wire>{
                                   wire, {.everybody = "TE", .filler = "TE filler", .topic = "T"}},
                               queueLength};
};

TEST_F(PublishedTopicTest, GoesToThoseWhoSubscribeToItAlone) {
    const auto ofTopic = subscribed("T");
    letIn(1);
    const auto ofAll = subscribed("");
    letIn(0);
    const auto ofOther = subscribed("TE");  // as anything else
    letIn(0);
    publishBoth();
    EXPECT_EQ(ofTopic->receiveBytes(maxBytes), "TN1 welcome");
    EXPECT_EQ(ofTopic->receiveBytes(maxBytes), "TE topic");
    EXPECT_EQ(ofAll->receiveBytes(maxBytes), "N2 welcome");
    EXPECT_EQ(ofAll->receiveBytes(maxBytes), "E all");
    publishBoth();
    EXPECT_EQ(ofTopic->receiveBytes(maxBytes), "TE topic");
    EXPECT_EQ(ofAll->receiveBytes(maxBytes), "E all");
}

TEST_F(PublishedTopicTest, ComesBesideEverythingForThoseWhoSubscribeToBoth) {
    const tarn::test::SilentSubscriber both(topicEndpoint.toString(Protocol::None), "T");
    letIn(1);
    both.subscribe("");
    letIn(0);
    both.subscribe("T");
    ASSERT_TRUE(tarn::test::eventually(
        [&] { return withTopic.nextAnnouncement() == Announcement::Again; }));
    EXPECT_EQ(withTopic.wireOfAnnouncement(), 1U);
}

TEST_F(PublishedTopicTest, IsLostForThoseAloneWhoDoNotReadIt) {
    const tarn::test::SilentSubscriber slow(topicEndpoint.toString(Protocol::None), "T");
    letIn(1);
    const auto ofAll = subscribed("");
    letIn(0);
    ofAll->receiveBytes(maxBytes);
    const std::string large(100000, 'x');
    int lost = 0;
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(withTopic.publish("E", " all"), Delivery::ToAll);
        EXPECT_EQ(receiveNext(*ofAll), "E all");
        lost += withTopic.publish("TE", large, 1) == Delivery::SomeLost ? 1 : 0;
    }
    EXPECT_GT(lost, 0);
}

}  // namespace tarn::socket::test
