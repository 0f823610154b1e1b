#include "platform/socket/RequestServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zmq.h>

#include <algorithm>
#include <future>
#include <stdexcept>

#include "platform/os/WakeUp.h"
#include "platform/socket/RequestThread.h"
#include "platform/socket/zmq/Context.h"
#include "tests/platform/socket/RawPeer.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/LogCapture.h"

namespace tarn::socket::test {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr std::chrono::milliseconds longEnough{patienceMs};

Message answerTo(const Message& request) {
    return message("answer to " + request.job_id());
}

class RequestServerTest : public testing::Test {
  protected:
    RequestServer::LogTexts texts() {
        return {.notServed = "Not served: ", .notWaited = "Not waited: ", .now = [this] {
                    return now;
                }};
    }

    std::unique_ptr<Socket> client() {
        return open(Protocol::Request, endpoint, patienceMs, ClosePolicy::Flush);
    }

    void expectServed(RequestServer& server) {
        const auto asking = client();
        send(*asking, "x");
        server.serveOne(longEnough);
        EXPECT_EQ(receive(*asking), "answer to x");
    }

    std::size_t linesWith(const std::string& part) const {
        const auto lines = log.lines();
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(),
            [&](const std::string& line) { return line.find(part) != std::string::npos; }));
    }

    const SocketEndpoint endpoint = ipcEndpoint();
    const tarn::test::LogCapture log;
    std::chrono::steady_clock::time_point now{1h};
    os::WakeUp wakeUp;
};

}  // namespace

TEST_F(RequestServerTest, AnswersARequestAtMostOnce) {
    const auto socket = makeAnsweringSocket("server", endpoint);
    RequestServer twice(
        *socket,
        [](Socket& arrived) {
            receive(arrived);
            send(arrived, "first");
            send(arrived, "second");
        },
        texts());
    const auto asking = client();
    send(*asking, "x");
    twice.serveOne(longEnough);
    EXPECT_EQ(receive(*asking), "first");
    EXPECT_EQ(poll(*asking, 0), 1);
    EXPECT_TRUE(log.contains("WARN Not served: server on "));
    EXPECT_TRUE(log.contains("there is no request to answer"));
}

TEST_F(RequestServerTest, ARequestThatGetsNoAnswerKeepsNobodyElseFromHis) {
    const auto socket = makeAnsweringSocket("server", endpoint);
    RequestServer server(*socket,
                         answering<Message>(maxBytes,
                                            [](const Message& request) {
                                                return request.job_id() == "x"
                                                           ? std::optional(answerTo(request))
                                                           : std::nullopt;
                                            }),
                         texts());
    const auto unanswered = client();
    send(*unanswered, "never");
    server.serveOne(longEnough);
    expectServed(server);
    EXPECT_EQ(poll(*unanswered, 0), 1);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(RequestServerTest, GarbageCostsNobodyElseAnythingAndIsLoggedOnceASecond) {
    const auto socket = makeAnsweringSocket("server", endpoint);
    RequestServer server(*socket, answering<Message>(100, answerTo), texts());
    RawPeer hostile(ZMQ_DEALER, endpoint);
    const std::vector<std::vector<std::string>> bad{
        {""}, {"", "a", "b"}, {"", std::string(101, 'x')}, {"", "\xff\xff\xff"}};
    for (const auto& request : bad) {
        ASSERT_TRUE(hostile.send(request));
        server.serveOne(longEnough);
        expectServed(server);
    }
    EXPECT_EQ(linesWith("WARN Not served: "), 1U);
    now += 1s;
    ASSERT_TRUE(hostile.send(bad[0]));
    server.serveOne(longEnough);
    EXPECT_TRUE(log.contains("(and 3 times before, not logged)"));
}

TEST_F(RequestServerTest, WhatAnAnswerThrowsIsLoggedAndTheNextIsServed) {
    const auto socket = makeAnsweringSocket("server", endpoint);
    RequestServer server(*socket,
                         answering<Message>(maxBytes,
                                            [](const Message& request) {
                                                if (request.job_id() != "x") {
                                                    throw std::logic_error("no such");
                                                }
                                                return answerTo(request);
                                            }),
                         texts());
    const auto asking = client();
    send(*asking, "y");
    server.serveOne(longEnough);
    EXPECT_TRUE(log.has("WARN Not served: no such"));
    expectServed(server);
}

TEST_F(RequestServerTest, ReturnsWhenTheTimeHasPassedOrItIsInterrupted) {
    const auto socket = makeAnsweringSocket("server", endpoint);
    RequestServer server(*socket, answering<Message>(maxBytes, answerTo), texts());
    server.serveOne(1ms);
    wakeUp.ring();
    EXPECT_LT(durationOf([&] { server.serveOne(1h, wakeUp.descriptor()); }), longEnough);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(RequestServerTest, AnErrorOfWaitingIsSurvivedAndTakesNeitherTheLogNorAProcessor) {
    Socket closed("closed", ClosePolicy::Discard);
    RequestServer server(closed, answering<Message>(maxBytes, answerTo), texts());
    EXPECT_GE(durationOf([&] { server.serveOne(1h); }), 100ms);
    wakeUp.ring();  // the pause ends early, too
    server.serveOne(1h, wakeUp.descriptor());
    EXPECT_EQ(linesWith("ERROR Not waited: closed: the socket is not open"), 1U);
    now += 1s;
    server.serveOne(1h, wakeUp.descriptor());
    EXPECT_TRUE(log.contains("(and 1 times before, not logged)"));

    closed.createAndConnect(Protocol::Reply, endpoint, 0);
    expectServed(server);
}

TEST_F(RequestServerTest, TheEndOfTheContextIsForItsCaller) {
    const auto socket = makeAnsweringSocket("server", endpoint);
    RequestServer server(*socket, answering<Message>(maxBytes, answerTo), texts());
    Context::Shutdown();
    EXPECT_THROW(server.serveOne(1h), ZmqContextTerminationException);
}

TEST_F(RequestServerTest, AThreadServesAndEndsAtOnceThoughItSleeps) {
    auto thread = std::make_unique<RequestThread>(makeAnsweringSocket("server", endpoint),
                                                  answering<Message>(maxBytes, answerTo), texts());
    const auto asking = client();
    for (const auto* const text : {"a", "b"}) {
        send(*asking, text);
        EXPECT_EQ(receive(*asking), std::string("answer to ") + text);
    }
    EXPECT_LT(durationOf([&] { thread.reset(); }), longEnough);
    EXPECT_NO_THROW(makeAnsweringSocket("next", endpoint));
}

TEST_F(RequestServerTest, AThreadThatIsStoppedAnswersTheRequestInProgressAndNoOther) {
    std::promise<void> begun;
    std::promise<void> mayEnd;
    auto thread = std::make_unique<RequestThread>(makeAnsweringSocket("server", endpoint),
                                                  answering<Message>(maxBytes,
                                                                     [&](const Message& request) {
                                                                         begun.set_value();
                                                                         mayEnd.get_future().wait();
                                                                         return answerTo(request);
                                                                     }),
                                                  texts());
    const auto first = client();
    const auto second = client();
    send(*first, "x");
    begun.get_future().wait();
    send(*second, "y");
    auto stopping = std::async(std::launch::async, [&] { thread.reset(); });
    EXPECT_EQ(stopping.wait_for(10ms), std::future_status::timeout);
    mayEnd.set_value();
    EXPECT_EQ(receive(*first), "answer to x");
    EXPECT_EQ(stopping.wait_for(longEnough), std::future_status::ready);
    EXPECT_EQ(poll(*second, 0), 1);
}

TEST_F(RequestServerTest, AThreadEndsWithTheContext) {
    auto thread = std::make_unique<RequestThread>(makeAnsweringSocket("server", endpoint),
                                                  answering<Message>(maxBytes, answerTo), texts());
    Context::Shutdown();
    EXPECT_LT(durationOf([&] { thread.reset(); }), longEnough);
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace tarn::socket::test
