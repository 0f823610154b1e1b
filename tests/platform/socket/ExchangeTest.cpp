#include "platform/socket/Exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "platform/os/WakeUp.h"
#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds answerPatience{patienceMs};

class ExchangeTest : public testing::Test {
  protected:
    /// The text of the answer; "interrupted".
    std::string ask(const std::string& text, const AnswerWait& wait = {.within = answerPatience}) {
        const auto request = message(text);
        auto reply = message("interrupted");
        exchange(*asking, request, reply, 1000, wait);
        return reply.job_id();
    }

    NoAnswer whyNot(const AnswerWait& wait) {
        try {
            ask("anybody?", wait);
        } catch (const NoAnswer& none) {
            return none;
        }
        throw std::logic_error("there was an answer");
    }

    void answerNext(const std::string& answer) {
        receive(*server);
        send(*server, answer);
    }

    const SocketEndpoint endpoint = ipcEndpoint();
    const std::string text = endpoint.toString(Protocol::Request);
    std::unique_ptr<Socket> server = open(Protocol::Reply, endpoint);
    const std::unique_ptr<Socket> asking = open(Protocol::Request, endpoint, patienceMs);
    os::WakeUp wakeUp;
};

}  // namespace

TEST_F(ExchangeTest, GivesTheAnswer) {
    const std::jthread answering([&] { answerNext("yes"); });
    EXPECT_EQ(ask("?"), "yes");
}

TEST_F(ExchangeTest, EndsWithTheBoundAndNamesTheEndpoint) {
    const auto begin = std::chrono::steady_clock::now();
    const auto none = whyNot({.within = 50ms});
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 50ms);
    EXPECT_EQ(none.reason, NoAnswer::Reason::Silence);
    EXPECT_EQ(none.detail, "nothing was received within 50 ms");
    EXPECT_EQ(none.what(), "test socket on " + text + ": " + none.detail);
}

TEST_F(ExchangeTest, TheBoundCountsFromWhereItIsTold) {
    send(*asking, "x");
    const AnswerWait over{.within = 1h, .since = std::chrono::steady_clock::now() - 2h};
    EXPECT_THROW(awaitAnswer(*asking, over), NoAnswer);
    answerNext("in time");
    EXPECT_EQ(poll(*asking, patienceMs), 0);
    EXPECT_TRUE(awaitAnswer(*asking, over));  // it had come by then, whoever was waited for before
    EXPECT_EQ(receive(*asking), "in time");
}

TEST_F(ExchangeTest, DoesNotTakeALateAnswerForThatToTheNextQuestion) {
    EXPECT_EQ(whyNot({.within = 20ms}).reason, NoAnswer::Reason::Silence);
    const std::jthread answering([&] {
        answerNext("late");
        answerNext("right");
    });
    EXPECT_EQ(ask("next"), "right");
}

TEST_F(ExchangeTest, AnAnswerThatIsNoneIsAnErrorAndTheNextIsTaken) {
    for (const auto& bad : {std::string(1001, 'x'), std::string("\xff\xff\xff")}) {
        const std::jthread answering([&] {
            receive(*server);
            server->sendBytes(bad);
            answerNext("good");
        });
        try {
            ask("?");
            ADD_FAILURE() << "taken";
        } catch (const NoAnswer&) {
            ADD_FAILURE() << "an answer did come";
        } catch (const std::runtime_error&) {
        }
        EXPECT_EQ(ask("?"), "good");
    }
}

TEST_F(ExchangeTest, DoesNotWaitWhereNobodyListens) {
    server.reset();
    AnswerWait wait{.within = 1h};
    wait.looks = {.at = &endpoint, .first = 1ms, .again = 1ms};
    const auto none = whyNot(wait);
    EXPECT_EQ(none.reason, NoAnswer::Reason::NobodyListens);
    EXPECT_EQ(none.detail, "nobody listens on " + text);
    EXPECT_THROW(checkSomebodyListens(*asking, endpoint, 1s), NoAnswer);
}

TEST_F(ExchangeTest, DoesNotWaitAnyLongerForOneThatGoesMeanwhile) {
    const std::jthread going([&] {
        receive(*server);
        server.reset();
    });
    AnswerWait wait{.within = 1h};
    wait.looks = {.at = &endpoint, .first = 1ms, .again = 1ms};
    EXPECT_EQ(whyNot(wait).reason, NoAnswer::Reason::NobodyListens);
}

TEST_F(ExchangeTest, WaitsOnForOneThatListensAndIsSlow) {
    AnswerWait wait{.within = answerPatience};
    wait.looks = {.at = &endpoint, .first = 1ms, .again = 1ms};
    const std::jthread answering([&] {
        receive(*server);
        EXPECT_EQ(poll(*server, 20), 1);
        send(*server, "slowly");
    });
    EXPECT_EQ(ask("?", wait), "slowly");
    EXPECT_NO_THROW(checkSomebodyListens(*asking, endpoint, 1s));
}

TEST_F(ExchangeTest, CanBeInterruptedWhichIsNoError) {
    const std::jthread interrupting([&] {
        receive(*server);
        wakeUp.ring();
    });
    EXPECT_EQ(ask("?", {.within = 1h, .interruption = wakeUp.descriptor()}), "interrupted");
}

}  // namespace tarn::socket::test
