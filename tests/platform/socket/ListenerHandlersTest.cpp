#include <csignal>
#include <future>
#include <thread>
#include <vector>

#include "tests/platform/socket/ListenerFixture.h"

// What a listener does with a message, and what its handler may do.
namespace tarn::socket::utils {

using test::inProcessEndpoint;
using test::ipcEndpoint;
using test::ListenerRecorder;
using test::open;
using test::patienceMs;
using test::receive;
using test::send;
using testing::ElementsAre;

class ListenerHandlersTest : public test::ListenerFixture {};

TEST_F(ListenerHandlersTest, KeepsTheOrderOfASender) {
    const auto endpoint = inProcessEndpoint();
    add(endpoint);
    start();
    const auto push = sender(endpoint);
    std::vector<std::string> sent;
    for (int i = 0; i < 500; ++i) {
        sent.push_back(std::to_string(i));
        send(*push, sent.back());
    }
    EXPECT_EQ(recorder.waitFor(500), sent);
}

TEST_F(ListenerHandlersTest, DropsWhatIsNotAdmittedWithoutALineAndSeesItWhole) {
    const auto endpoint = inProcessEndpoint();
    recorder.limitMessagesTo(100);
    std::size_t seen = 0;
    recorder.admission = [&](std::string_view bytes) {
        seen = std::max(seen, bytes.size());
        return bytes.size() <= 100;
    };
    add(endpoint);
    start();
    const auto push = sender(endpoint);
    send(*push, std::string(1000, 'x'));
    send(*push, "small");
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("small"));
    EXPECT_GE(seen, 1000U);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(ListenerHandlersTest, AHandlerMayAddAnEndpoint) {
    const auto first = ipcEndpoint();
    const auto second = ipcEndpoint();
    recorder.reaction = [&](const std::string& text, Socket&) {
        if (text == "add") {
            std::string failure;
            EXPECT_TRUE(recorder.addListenEndpoint(second.toString(Protocol::None), failure))
                << failure;
        }
    };
    add(first);
    start();
    send(*sender(first), "add");
    send(*sender(second), "on the second");
    EXPECT_THAT(recorder.waitFor(2), ElementsAre("add", "on the second"));
}

TEST_F(ListenerHandlersTest, AHandlerCannotStopItsOwnListener) {
    const auto endpoint = ipcEndpoint();
    std::string failure;
    recorder.reaction = [&](const std::string&, Socket&) {
        recorder.stop(failure);
        std::string startError;
        EXPECT_TRUE(recorder.start(startError));
    };
    add(endpoint);
    start();
    const auto push = sender(endpoint);
    send(*push, "first");
    send(*push, "second");
    EXPECT_EQ(recorder.waitFor(2).size(), 2U);
    EXPECT_EQ(failure, "a listener cannot be stopped by its own thread");
}

TEST_F(ListenerHandlersTest, AnEndpointIsAddedOnceTheHandlerInProgressHasReturned) {
    const auto first = ipcEndpoint();
    const auto second = ipcEndpoint();
    std::promise<void> entered;
    std::promise<void> release;
    recorder.reaction = [&](const std::string& text, Socket&) {
        if (text == "slow") {
            entered.set_value();
            release.get_future().wait();
        }
    };
    add(first);
    start();
    send(*sender(first), "slow");
    entered.get_future().wait();
    std::thread adder([&] { add(second); });
    release.set_value();
    adder.join();
    send(*sender(second), "quick");
    EXPECT_THAT(recorder.waitFor(2), ElementsAre("slow", "quick"));
}

TEST_F(ListenerHandlersTest, AReplyListenerAnswers) {
    const auto endpoint = ipcEndpoint();
    ListenerRecorder own(Protocol::Reply);
    own.reaction = [](const std::string& text, Socket& socket) {
        send(socket, "answer to " + text);
    };
    add(own, endpoint);
    start(own);
    const auto request = open(Protocol::Request, endpoint, patienceMs);
    send(*request, "a");
    EXPECT_EQ(receive(*request), "answer to a");
}

TEST_F(ListenerHandlersTest, MessagesOverTheLimitAreLoggedAndDropped) {
    const auto endpoint = ipcEndpoint();
    EXPECT_EQ(recorder.messageLimit(), 10U << 20);
    recorder.limitMessagesTo(100);
    add(endpoint);
    start();
    const auto push = sender(endpoint);
    send(*push, std::string(99, 'x'));  // with its tag and length two bytes more
    send(*push, std::string(98, 'x'));
    EXPECT_THAT(recorder.waitFor(1), ElementsAre(std::string(98, 'x')));
    EXPECT_TRUE(log.contains("ERROR Recorder > Failed receiving message: Recorder on " +
                             endpoint.toString(Protocol::Pull) +
                             ": a message of 101 bytes was dropped, the limit is 100 bytes"));
}

TEST_F(ListenerHandlersTest, ExceptionsOfTheHandlerAreLogged) {
    const auto endpoint = ipcEndpoint();
    recorder.reaction = [](const std::string& text, Socket&) {
        if (text == "known") {
            throw std::logic_error("something of the handler");
        }
        if (text == "unknown") {
            throw 7;
        }
    };
    add(endpoint);
    start();
    const auto push = sender(endpoint);
    for (const auto* text : {"known", "unknown", "next"}) {
        send(*push, text);
    }
    EXPECT_THAT(recorder.waitFor(1), ElementsAre("next"));
    EXPECT_TRUE(log.has("ERROR Recorder > Failed handling message: something of the handler"));
    EXPECT_TRUE(log.has("ERROR Recorder > Failed handling message: unknown exception"));
}

TEST_F(ListenerHandlersTest, ItsThreadRunsNoSignalHandlers) {
    const auto endpoint = ipcEndpoint();
    std::promise<bool> blocked;
    recorder.reaction = [&](const std::string&, Socket&) {
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        blocked.set_value(sigismember(&mask, SIGINT) == 1 && sigismember(&mask, SIGSEGV) == 0);
    };
    add(endpoint);
    start();
    send(*sender(endpoint), "go");
    EXPECT_TRUE(blocked.get_future().get());
    EXPECT_EQ(recorder.waitFor(1).size(), 1U);  // the handler has returned
    sigset_t mine;
    pthread_sigmask(SIG_BLOCK, nullptr, &mine);
    EXPECT_EQ(sigismember(&mine, SIGINT), 0);
}

TEST_F(ListenerHandlersTest, WhoSendsGarbageDoesNotFillTheLog) {
    const auto endpoint = ipcEndpoint();
    recorder.limitMessagesTo(10);
    add(endpoint);
    start();
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

}  // namespace tarn::socket::utils
