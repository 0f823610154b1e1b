#include "platform/socket/SocketListener.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/LogCapture.h"

namespace tarn::socket::utils {

namespace {

using socket::test::inProcessEndpoint;
using socket::test::ipcEndpoint;
using socket::test::Message;
using socket::test::open;
using socket::test::patienceMs;
using socket::test::receive;
using socket::test::send;
using socket::test::tcpEndpoint;
using testing::ElementsAre;
using testing::HasSubstr;

/// Keeps what it receives.
class Recorder : public SocketListener {
  public:
    using Reaction = std::function<void(const std::string&, Socket&)>;

    explicit Recorder(Protocol protocol = Protocol::Pull) : SocketListener(protocol, "Recorder") {}
    ~Recorder() override {
        std::string error;
        stop(error);
    }

    std::shared_ptr<google::protobuf::Message> getBaseMessage() override {
        return std::make_shared<Message>();
    }

    void handleMessage(std::shared_ptr<google::protobuf::Message> message,
                       std::shared_ptr<Socket> socket) override {
        const auto text = dynamic_cast<const Message&>(*message).job_id();
        if (reaction) {
            reaction(text, *socket);
        }
        const std::lock_guard lock(mutex);
        texts.push_back(text);
        changed.notify_all();
    }

    /// The messages so far, once there are `count`.
    std::vector<std::string> waitFor(std::size_t count) {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::milliseconds(patienceMs),
                         [&] { return texts.size() >= count; });
        return texts;
    }

    void limitMessagesTo(std::uint32_t bytes) { maxMessageSize = bytes; }
    std::uint32_t messageLimit() const { return maxMessageSize; }
    std::list<SocketEndpoint>& endpoints() { return listenEndpoints(); }

    bool admits(std::string_view bytes) override { return !admission || admission(bytes); }

    Reaction reaction;
    Socket::Admits admission;

  private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> texts;
};

class SocketListenerTest : public testing::Test {
  protected:
    void start(Recorder& recorder) {
        EXPECT_TRUE(recorder.start(error)) << error;
        EXPECT_EQ(error, "");
    }

    void add(Recorder& recorder, const SocketEndpoint& endpoint) {
        EXPECT_TRUE(recorder.addListenEndpoint(endpoint.toString(Protocol::None), error)) << error;
        EXPECT_EQ(error, "");
    }

    void remove(Recorder& recorder, const SocketEndpoint& endpoint) {
        EXPECT_TRUE(recorder.removeListenEndpoint(endpoint.toString(Protocol::None), error))
            << error;
        EXPECT_EQ(error, "");
    }

    std::unique_ptr<Socket> sender(const SocketEndpoint& endpoint) {
        return open(Protocol::Push, endpoint, patienceMs, ClosePolicy::Flush);
    }

    tarn::test::LogCapture log;
    std::string error = "from before";
};

}  // namespace

TEST_F(SocketListenerTest, ReceivesFromAllItsEndpoints) {
    const std::vector endpoints{ipcEndpoint(), inProcessEndpoint(), tcpEndpoint()};
    Recorder recorder;
    for (const auto& endpoint : endpoints) {
        add(recorder, endpoint);
    }
    start(recorder);
    std::size_t count = 0;
    for (const auto& endpoint : endpoints) {
        send(*sender(endpoint), endpoint.host());
        EXPECT_EQ(recorder.waitFor(++count).back(), endpoint.host());
    }
}

TEST_F(SocketListenerTest, KeepsTheOrderOfASender) {
    const auto endpoint = inProcessEndpoint();
    Recorder recorder;
    add(recorder, endpoint);
    start(recorder);
    const auto push = sender(endpoint);
    std::vector<std::string> sent;
    for (int i = 0; i < 500; ++i) {
        sent.push_back(std::to_string(i));
        send(*push, sent.back());
    }
    EXPECT_EQ(recorder.waitFor(500), sent);
}

TEST_F(SocketListenerTest, TakesAnEndpointWhileItRuns) {
    Recorder recorder;
    start(recorder);
    for (int i = 0; i < 3; ++i) {
        const auto endpoint = i == 1 ? inProcessEndpoint() : ipcEndpoint();
        add(recorder, endpoint);
        send(*sender(endpoint), "hello");
    }
    EXPECT_THAT(recorder.waitFor(3), ElementsAre("hello", "hello", "hello"));
}

TEST_F(SocketListenerTest, AddingTwiceSucceedsAndChangesNothing) {
    const auto endpoint = ipcEndpoint();
    Recorder recorder;
    add(recorder, endpoint);
    add(recorder, endpoint);
    start(recorder);
    add(recorder, endpoint);
    std::string stopError;
    recorder.stop(stopError);
    EXPECT_EQ(recorder.endpoints(), std::list<SocketEndpoint>{endpoint});
}

TEST_F(SocketListenerTest, AnEndpointThatIsRemovedIsFreeAndItsConnectionsAreOver) {
    const auto removed = ipcEndpoint();
    const auto kept = tcpEndpoint();
    Recorder recorder;
    add(recorder, removed);
    add(recorder, kept);
    start(recorder);
    const auto connected = sender(removed);
    send(*connected, "before");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("before"));

    remove(recorder, removed);
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
        Recorder recorder;
        add(recorder, endpoint);
        start(recorder);
        for (int round = 0; round < 3; ++round) {
            remove(recorder, endpoint);
            add(recorder, endpoint);
        }
        send(*sender(endpoint), "hello");
        EXPECT_THAT(recorder.waitFor(1), ElementsAre("hello"));
    }
}

TEST_F(SocketListenerTest, AnEndpointThatIsRemovedStaysSoAfterAStop) {
    const auto removed = ipcEndpoint();
    const auto early = ipcEndpoint();
    Recorder recorder;
    add(recorder, early);
    remove(recorder, early);
    add(recorder, removed);
    start(recorder);
    remove(recorder, removed);
    remove(recorder, removed);  // nothing is left to do
    recorder.stop(error);
    EXPECT_TRUE(recorder.endpoints().empty());
    EXPECT_FALSE(recorder.removeListenEndpoint("no endpoint", error));
}

TEST_F(SocketListenerTest, DropsWhatIsNotAdmittedWithoutALineAndSeesItWhole) {
    const auto endpoint = inProcessEndpoint();
    Recorder recorder;
    recorder.limitMessagesTo(100);
    std::size_t seen = 0;
    recorder.admission = [&](std::string_view bytes) {
        seen = std::max(seen, bytes.size());
        return bytes.size() <= 100;
    };
    add(recorder, endpoint);
    start(recorder);
    const auto push = sender(endpoint);
    send(*push, std::string(1000, 'x'));
    send(*push, "small");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("small"));
    EXPECT_GE(seen, 1000U);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(SocketListenerTest, BadTextIsRefusedWhetherItRunsOrNot) {
    Recorder recorder;
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(recorder.addListenEndpoint("no endpoint\n", error));
        EXPECT_THAT(error, HasSubstr("bad endpoint \"no endpoint\\n\""));
        start(recorder);
    }
    recorder.stop(error);
    EXPECT_TRUE(recorder.endpoints().empty());
}

TEST_F(SocketListenerTest, AnEndpointThatCannotBeBoundIsRefusedAndTheOthersAreServed) {
    const auto taken = ipcEndpoint();
    const auto owner = open(Protocol::Pull, taken);
    const auto endpoint = ipcEndpoint();
    Recorder recorder;
    add(recorder, endpoint);
    start(recorder);
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
    Recorder recorder;
    add(recorder, free);
    add(recorder, taken);
    EXPECT_FALSE(recorder.start(error));
    EXPECT_THAT(error, HasSubstr(taken.toString(Protocol::None)));
    EXPECT_NO_THROW(open(Protocol::Pull, free));  // nothing is left running
    owner.reset();
    start(recorder);
    send(*sender(taken), "now");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("now"));
}

TEST_F(SocketListenerTest, StartsAgainWithEverythingThatWasRegistered) {
    const auto early = inProcessEndpoint();
    const auto late = ipcEndpoint();
    Recorder recorder;
    add(recorder, early);
    start(recorder);
    add(recorder, late);
    const auto push = sender(early);
    send(*push, "first run");
    EXPECT_EQ(recorder.waitFor(1).size(), 1U);

    recorder.stop(error);
    EXPECT_EQ(error, "");
    EXPECT_NO_THROW(open(Protocol::Pull, late));
    send(*push, "between");
    start(recorder);
    EXPECT_THAT(recorder.waitFor(2), ElementsAre("first run", "between"));
    send(*sender(late), "second run");
    EXPECT_THAT(recorder.waitFor(3), ElementsAre("first run", "between", "second run"));
}

TEST_F(SocketListenerTest, StartingTwiceAndStoppingTwiceChangeNothing) {
    const auto endpoint = ipcEndpoint();
    Recorder recorder;
    recorder.stop(error);
    EXPECT_EQ(error, "");
    add(recorder, endpoint);
    start(recorder);
    start(recorder);
    send(*sender(endpoint), "once");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("once"));
    for (int i = 0; i < 2; ++i) {
        error = "from before";
        recorder.stop(error);
        EXPECT_EQ(error, "");
    }
}

TEST_F(SocketListenerTest, AHandlerMayAddAnEndpoint) {
    const auto first = ipcEndpoint();
    const auto second = ipcEndpoint();
    Recorder recorder;
    recorder.reaction = [&](const std::string& text, Socket&) {
        if (text == "add") {
            std::string failure;
            EXPECT_TRUE(recorder.addListenEndpoint(second.toString(Protocol::None), failure))
                << failure;
        }
    };
    add(recorder, first);
    start(recorder);
    send(*sender(first), "add");
    send(*sender(second), "on the second");
    EXPECT_THAT(recorder.waitFor(2), ElementsAre("add", "on the second"));
}

TEST_F(SocketListenerTest, AHandlerCannotStopItsOwnListener) {
    const auto endpoint = ipcEndpoint();
    Recorder recorder;
    std::string failure;
    recorder.reaction = [&](const std::string&, Socket&) {
        recorder.stop(failure);
        std::string startError;
        EXPECT_TRUE(recorder.start(startError));
    };
    add(recorder, endpoint);
    start(recorder);
    const auto push = sender(endpoint);
    send(*push, "first");
    send(*push, "second");
    EXPECT_EQ(recorder.waitFor(2).size(), 2U);
    EXPECT_EQ(failure, "a listener cannot be stopped by its own thread");
}

TEST_F(SocketListenerTest, ManyThreadsMayAddAtOnce) {
    Recorder recorder;
    start(recorder);
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

TEST_F(SocketListenerTest, AnEndpointIsAddedOnceTheHandlerInProgressHasReturned) {
    const auto first = ipcEndpoint();
    const auto second = ipcEndpoint();
    std::promise<void> entered;
    std::promise<void> release;
    Recorder recorder;
    recorder.reaction = [&](const std::string& text, Socket&) {
        if (text == "slow") {
            entered.set_value();
            release.get_future().wait();
        }
    };
    add(recorder, first);
    start(recorder);
    send(*sender(first), "slow");
    entered.get_future().wait();
    std::thread adder([&] { add(recorder, second); });
    release.set_value();
    adder.join();
    send(*sender(second), "quick");
    EXPECT_THAT(recorder.waitFor(2), ElementsAre("slow", "quick"));
}

TEST_F(SocketListenerTest, AReplyListenerAnswers) {
    const auto endpoint = ipcEndpoint();
    Recorder recorder(Protocol::Reply);
    recorder.reaction = [](const std::string& text, Socket& socket) {
        send(socket, "answer to " + text);
    };
    add(recorder, endpoint);
    start(recorder);
    const auto request = open(Protocol::Request, endpoint, patienceMs);
    send(*request, "a");
    EXPECT_EQ(receive(*request), "answer to a");
}

TEST_F(SocketListenerTest, MessagesOverTheLimitAreLoggedAndDropped) {
    const auto endpoint = ipcEndpoint();
    Recorder recorder;
    EXPECT_EQ(recorder.messageLimit(), 10U << 20);
    recorder.limitMessagesTo(100);
    add(recorder, endpoint);
    start(recorder);
    const auto push = sender(endpoint);
    send(*push, std::string(99, 'x'));  // with its tag and length two bytes more
    send(*push, std::string(98, 'x'));
    EXPECT_THAT(recorder.waitFor(1), ElementsAre(std::string(98, 'x')));
    EXPECT_TRUE(log.contains("ERROR Recorder > Failed receiving message: Recorder on " +
                             endpoint.toString(Protocol::Pull) +
                             ": a message of 101 bytes was dropped, the limit is 100 bytes"));
}

TEST_F(SocketListenerTest, ExceptionsOfTheHandlerAreLogged) {
    const auto endpoint = ipcEndpoint();
    Recorder recorder;
    recorder.reaction = [](const std::string& text, Socket&) {
        if (text == "known") {
            throw std::logic_error("something of the handler");
        }
        if (text == "unknown") {
            throw 7;
        }
    };
    add(recorder, endpoint);
    start(recorder);
    const auto push = sender(endpoint);
    for (const auto* text : {"known", "unknown", "next"}) {
        send(*push, text);
    }
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("next"));
    EXPECT_TRUE(log.has("ERROR Recorder > Failed handling message: something of the handler"));
    EXPECT_TRUE(log.has("ERROR Recorder > Failed handling message: unknown exception"));
}

TEST_F(SocketListenerTest, WhoSendsGarbageDoesNotFillTheLog) {
    const auto endpoint = ipcEndpoint();
    Recorder recorder;
    recorder.limitMessagesTo(10);
    add(recorder, endpoint);
    start(recorder);
    const auto push = sender(endpoint);
    constexpr std::size_t many = 100;
    for (std::size_t i = 0; i < many; ++i) {
        send(*push, "larger than that");
    }
    send(*push, "next");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("next"));
    EXPECT_TRUE(log.contains("ERROR Recorder > Failed receiving message: "));
    EXPECT_LT(log.lines().size(), many);
}

TEST_F(SocketListenerTest, DestroyingAStartedListenerStopsIt) {
    const auto endpoint = ipcEndpoint();
    {
        Recorder recorder;
        add(recorder, endpoint);
        start(recorder);
    }
    EXPECT_NO_THROW(open(Protocol::Pull, endpoint));
}

TEST_F(SocketListenerTest, ItsThreadRunsNoSignalHandlers) {
    const auto endpoint = ipcEndpoint();
    Recorder recorder;
    std::promise<bool> blocked;
    recorder.reaction = [&](const std::string&, Socket&) {
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        blocked.set_value(sigismember(&mask, SIGINT) == 1 && sigismember(&mask, SIGSEGV) == 0);
    };
    add(recorder, endpoint);
    start(recorder);
    send(*sender(endpoint), "go");
    EXPECT_TRUE(blocked.get_future().get());
    sigset_t mine;
    pthread_sigmask(SIG_BLOCK, nullptr, &mine);
    EXPECT_EQ(sigismember(&mine, SIGINT), 0);
}

}  // namespace tarn::socket::utils
