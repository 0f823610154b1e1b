#include "platform/socket/SocketListener.h"

#include <thread>
#include <vector>

#include "tests/platform/socket/ListenerFixture.h"

namespace tarn::socket::utils {

using test::inProcessEndpoint;
using test::ipcEndpoint;
using test::ListenerRecorder;
using test::open;
using test::receive;
using test::send;
using test::tcpEndpoint;
using testing::ElementsAre;
using testing::HasSubstr;

class SocketListenerTest : public test::ListenerFixture {};

TEST_F(SocketListenerTest, ReceivesFromAllItsEndpoints) {
    const std::vector endpoints{ipcEndpoint(), inProcessEndpoint(), tcpEndpoint()};
    for (const auto& endpoint : endpoints) {
        add(endpoint);
    }
    start();
    std::size_t count = 0;
    for (const auto& endpoint : endpoints) {
        send(*sender(endpoint), endpoint.host());
        EXPECT_EQ(recorder.waitFor(++count).back(), endpoint.host());
    }
}

TEST_F(SocketListenerTest, TakesAnEndpointWhileItRuns) {
    start();
    for (int i = 0; i < 3; ++i) {
        const auto endpoint = i == 1 ? inProcessEndpoint() : ipcEndpoint();
        add(endpoint);
        send(*sender(endpoint), "hello");
    }
    EXPECT_THAT(recorder.waitFor(3), ElementsAre("hello", "hello", "hello"));
}

TEST_F(SocketListenerTest, AddingTwiceSucceedsAndChangesNothing) {
    const auto endpoint = ipcEndpoint();
    add(endpoint);
    add(endpoint);
    start();
    add(endpoint);
    std::string stopError;
    recorder.stop(stopError);
    EXPECT_EQ(recorder.endpoints(), std::list<SocketEndpoint>{endpoint});
}

TEST_F(SocketListenerTest, AnEndpointThatIsRemovedIsFreeAndItsConnectionsAreOver) {
    const auto removed = ipcEndpoint();
    const auto kept = tcpEndpoint();
    add(removed);
    add(kept);
    start();
    const auto connected = sender(removed);
    send(*connected, "before");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("before"));

    remove(removed);
    const auto next = open(Protocol::Pull, removed);
    // What is sent before the sender has noticed is lost.
    std::string ignored;
    for (int attempt = 0; attempt < 100 && next->poll(50, ignored) != 0; ++attempt) {
        send(*connected, "to the next");
    }
    EXPECT_EQ(receive(*next), "to the next");
    send(*sender(kept), "to the one that stayed");
    EXPECT_THAT(recorder.waitFor(2), ElementsAre("before", "to the one that stayed"));
}

TEST_F(SocketListenerTest, AnEndpointCanBeRemovedAndAddedAgainAtOnce) {
    for (const auto& endpoint : {ipcEndpoint(), tcpEndpoint(), inProcessEndpoint()}) {
        ListenerRecorder own;
        add(own, endpoint);
        start(own);
        for (int round = 0; round < 3; ++round) {
            remove(own, endpoint);
            add(own, endpoint);
        }
        send(*sender(endpoint), "hello");
        EXPECT_THAT(own.waitFor(1), ElementsAre("hello"));
    }
}

TEST_F(SocketListenerTest, AnEndpointThatIsRemovedStaysSoAfterAStop) {
    const auto removed = ipcEndpoint();
    const auto early = ipcEndpoint();
    add(early);
    remove(early);
    add(removed);
    start();
    remove(removed);
    remove(removed);  // nothing is left to do
    recorder.stop(error);
    EXPECT_TRUE(recorder.endpoints().empty());
    EXPECT_FALSE(recorder.removeListenEndpoint("no endpoint", error));
}

TEST_F(SocketListenerTest, BadTextIsRefusedWhetherItRunsOrNot) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(recorder.addListenEndpoint("no endpoint\n", error));
        EXPECT_THAT(error, HasSubstr("bad endpoint \"no endpoint\\n\""));
        start();
    }
    recorder.stop(error);
    EXPECT_TRUE(recorder.endpoints().empty());
}

TEST_F(SocketListenerTest, AnEndpointThatCannotBeBoundIsRefusedAndTheOthersAreServed) {
    const auto taken = ipcEndpoint();
    const auto owner = open(Protocol::Pull, taken);
    const auto endpoint = ipcEndpoint();
    add(endpoint);
    start();
    EXPECT_FALSE(recorder.addListenEndpoint(taken.toString(Protocol::None), error));
    EXPECT_THAT(error, HasSubstr(taken.toString(Protocol::None)));
    send(*sender(endpoint), "served");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("served"));
    recorder.stop(error);
    EXPECT_EQ(recorder.endpoints(), std::list<SocketEndpoint>{endpoint});
}

TEST_F(SocketListenerTest, DoesNotStartWhenAnEndpointCannotBeBound) {
    const auto taken = ipcEndpoint();
    const auto free = ipcEndpoint();
    auto owner = open(Protocol::Pull, taken);
    add(free);
    add(taken);
    EXPECT_FALSE(recorder.start(error));
    EXPECT_THAT(error, HasSubstr(taken.toString(Protocol::None)));
    EXPECT_NO_THROW(open(Protocol::Pull, free));  // nothing is left running
    owner.reset();
    start();
    send(*sender(taken), "now");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("now"));
}

TEST_F(SocketListenerTest, StartsAgainWithEverythingThatWasRegistered) {
    const auto early = inProcessEndpoint();
    const auto late = ipcEndpoint();
    add(early);
    start();
    add(late);
    const auto push = sender(early);
    send(*push, "first run");
    EXPECT_EQ(recorder.waitFor(1).size(), 1U);

    recorder.stop(error);
    EXPECT_EQ(error, "");
    EXPECT_NO_THROW(open(Protocol::Pull, late));
    send(*push, "between");
    start();
    EXPECT_THAT(recorder.waitFor(2), ElementsAre("first run", "between"));
    send(*sender(late), "second run");
    EXPECT_THAT(recorder.waitFor(3), ElementsAre("first run", "between", "second run"));
}

TEST_F(SocketListenerTest, StartingTwiceAndStoppingTwiceChangeNothing) {
    const auto endpoint = ipcEndpoint();
    recorder.stop(error);
    EXPECT_EQ(error, "");
    add(endpoint);
    start();
    start();
    send(*sender(endpoint), "once");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("once"));
    for (int i = 0; i < 2; ++i) {
        error = "from before";
        recorder.stop(error);
        EXPECT_EQ(error, "");
    }
}

TEST_F(SocketListenerTest, ManyThreadsMayAddAtOnce) {
    start();
    std::vector<SocketEndpoint> endpoints(8);
    std::vector<std::thread> threads;
    for (auto& endpoint : endpoints) {
        endpoint = ipcEndpoint();
        threads.emplace_back([&] {
            std::string failure;
            EXPECT_TRUE(recorder.addListenEndpoint(endpoint.toString(Protocol::None), failure));
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto& endpoint : endpoints) {
        send(*sender(endpoint), "hello");
    }
    EXPECT_EQ(recorder.waitFor(8).size(), 8U);
}

TEST_F(SocketListenerTest, DestroyingAStartedListenerStopsIt) {
    const auto endpoint = ipcEndpoint();
    {
        ListenerRecorder own;
        add(own, endpoint);
        start(own);
    }
    EXPECT_NO_THROW(open(Protocol::Pull, endpoint));
}

}  // namespace tarn::socket::utils
