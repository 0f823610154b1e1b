#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zmq.h>

#include <chrono>
#include <stdexcept>

#include "tests/platform/socket/RawPeer.h"
#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

std::string serialised(const std::string& text) {
    return message(text).SerializePartialAsString();
}

class RequestReplyTest : public testing::Test {
  protected:
    std::unique_ptr<Socket> client(ClosePolicy closePolicy = ClosePolicy::Discard) {
        return open(Protocol::Request, endpoint, patienceMs, closePolicy);
    }

    void answerNext(const std::string& expected) {
        EXPECT_EQ(receive(*server), expected);
        send(*server, "answer to " + expected);
    }

    void expectServed(RawPeer& peer, const std::vector<std::string>& road) {
        auto request = road;
        request.push_back(serialised("x"));
        auto answer = road;
        answer.push_back(serialised("answer to x"));
        ASSERT_TRUE(peer.send(request));
        answerNext("x");
        EXPECT_EQ(peer.receive(), answer);
    }

    const SocketEndpoint endpoint = ipcEndpoint();
    std::unique_ptr<Socket> server = open(Protocol::Reply, endpoint);
};

}  // namespace

TEST_F(RequestReplyTest, ALateAnswerIsNotTakenForTheNextOnes) {
    const auto asking = client();
    asking->setTimeout(milliseconds(20));
    send(*asking, "first");
    EXPECT_THROW(receive(*asking), std::runtime_error);
    answerNext("first");
    EXPECT_EQ(poll(*asking, patienceMs), 0);  // until something else is asked, it may be taken

    asking->setTimeout(milliseconds(patienceMs));
    send(*asking, "second");
    answerNext("second");
    EXPECT_EQ(receive(*asking), "answer to second");
}

TEST_F(RequestReplyTest, ALateAnswerThatComesAfterTheNextRequestIsNotTakenEither) {
    const auto asking = client();
    asking->setTimeout(milliseconds(20));
    send(*asking, "first");
    EXPECT_THROW(receive(*asking), std::runtime_error);
    send(*asking, "second");
    answerNext("first");
    EXPECT_EQ(poll(*asking, 20), 1);
    EXPECT_THROW(receive(*asking), std::runtime_error);
    answerNext("second");
    EXPECT_EQ(poll(*asking, patienceMs), 0);
    EXPECT_EQ(poll(*asking, 0), 0);
    asking->setTimeout(milliseconds(patienceMs));
    EXPECT_EQ(receive(*asking), "answer to second");
}

TEST_F(RequestReplyTest, WaitingForAnAnswerEndsAndNamesTheEndpoint) {
    const auto asking = client();
    asking->setTimeout(milliseconds(50));
    send(*asking, "anybody?");
    const auto begin = steady_clock::now();
    EXPECT_THAT(
        [&] { receive(*asking); },
        ThrowsMessage<std::runtime_error>("test socket on " + endpoint.toString(Protocol::Request) +
                                          ": nothing was received within 50 ms"));
    EXPECT_GE(steady_clock::now() - begin, milliseconds(50));
}

TEST_F(RequestReplyTest, WaitingForAnAnswerThatWasNotAskedForFails) {
    const auto asking = client();
    EXPECT_THROW(receive(*asking), std::runtime_error);
}

TEST_F(RequestReplyTest, ARequestIsAnsweredOnce) {
    const auto asking = client();
    EXPECT_THAT([&] { send(*server, "unasked"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("there is no request to answer")));
    send(*asking, "x");
    answerNext("x");
    EXPECT_THROW(send(*server, "again"), std::runtime_error);
    EXPECT_EQ(receive(*asking), "answer to x");
}

TEST_F(RequestReplyTest, ANewRequestDropsTheEnvelopeOfAnUnansweredOne) {
    const auto first = client();
    const auto second = client();
    send(*first, "never answered");
    EXPECT_EQ(receive(*server), "never answered");
    send(*second, "x");
    answerNext("x");
    EXPECT_EQ(receive(*second), "answer to x");
    EXPECT_EQ(poll(*first, 0), 1);
}

TEST_F(RequestReplyTest, ClientsAreServedWhateverTheyPutInFront) {
    {
        RawPeer plain(ZMQ_REQ, endpoint);
        expectServed(plain, {});
    }
    {
        RawPeer correlated(ZMQ_REQ, endpoint, ZMQ_REQ_CORRELATE);
        expectServed(correlated, {});
    }
    RawPeer dealer(ZMQ_DEALER, endpoint);
    expectServed(dealer, {""});
    expectServed(dealer, {});
    expectServed(dealer, {"request 7", ""});
    expectServed(dealer, {"hop", "another hop", "request 7", ""});
}

TEST_F(RequestReplyTest, RequestsWithoutABodyOrWithSeveralAreDropped) {
    RawPeer dealer(ZMQ_DEALER, endpoint);
    const std::vector<std::vector<std::string>> bad{
        {""},
        {"request 7", ""},
        {"", serialised("a"), serialised("b")},
        {serialised("a"), serialised("b")},
        std::vector<std::string>(100, "hop"),
    };
    for (const auto& request : bad) {
        ASSERT_TRUE(dealer.send(request));
        EXPECT_THAT([&] { receive(*server); },
                    ThrowsMessage<std::runtime_error>(HasSubstr("dropped")));
        EXPECT_THROW(send(*server, "to whom?"), std::runtime_error);
        expectServed(dealer, {""});
    }
}

TEST_F(RequestReplyTest, AnsweringAClientThatHasGoneThrows) {
    const auto other = client();
    // Whether the going has been noticed at the time of the answer is up to the other process.
    std::string failure;
    for (int i = 0; i < 1000 && failure.empty(); ++i) {
        send(*client(ClosePolicy::Flush), "goodbye");
        EXPECT_EQ(receive(*server), "goodbye");
        try {
            send(*server, "too late");
        } catch (const std::runtime_error& error) {
            failure = error.what();
        }
    }
    EXPECT_THAT(failure, HasSubstr("the client has gone"));
    send(*other, "x");
    answerNext("x");
    EXPECT_EQ(receive(*other), "answer to x");
}

TEST_F(RequestReplyTest, AClientThatTakesNoAnswersHoldsNobodyUp) {
    RawPeer greedy(ZMQ_DEALER, endpoint);
    const auto begin = steady_clock::now();
    std::string failure;
    for (int i = 0; i < 100000 && failure.empty(); ++i) {
        ASSERT_TRUE(greedy.send({"", serialised("more")}));
        EXPECT_EQ(receive(*server), "more");
        try {
            send(*server, std::string(20000, 'x'));
        } catch (const std::runtime_error& error) {
            failure = error.what();
        }
    }
    EXPECT_THAT(failure, HasSubstr("takes no more answers"));
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(30));
    const auto other = client();
    send(*other, "x");
    answerNext("x");
    EXPECT_EQ(receive(*other), "answer to x");
}

TEST_F(RequestReplyTest, AServerThatComesBackAnswersTheSameSocket) {
    const auto asking = client();
    send(*asking, "x");
    answerNext("x");
    EXPECT_EQ(receive(*asking), "answer to x");
    server.reset();
    server = open(Protocol::Reply, endpoint);
    int tries = 0;  // a request that was under way to the one that closed is lost
    do {
        send(*asking, "y");
        while (poll(*server, 10) == 0) {
            answerNext("y");
        }
    } while (poll(*asking, 10) != 0 && ++tries < 500);
    EXPECT_EQ(receive(*asking), "answer to y");
}

}  // namespace tarn::socket::test
