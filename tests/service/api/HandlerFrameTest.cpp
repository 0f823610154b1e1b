#include "service/api/HandlerFrame.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "platform/utils/EscapedText.h"
#include "platform/utils/RepeatedFailure.h"
#include "tests/service/api/ApiBed.h"

namespace tarn::service {

using namespace std::chrono_literals;
using tarn::proto::api_service::ServiceToApiReply;

class HandlerFrameTest : public testing::Test {
  protected:
    HandlerFrameTest() {
        server.createAndConnect(socket::Protocol::Reply, endpoint, 0);
        client.createAndConnect(socket::Protocol::Request, endpoint, 5000);
        ServiceToApiReply request;
        client.sendProtoBuf(&request);
        server.receiveProtoBuf(&request, 1000);
    }

    /// A request that takes `work` to handle, and `sending` to answer.
    void answer(std::chrono::milliseconds work, std::chrono::milliseconds sending,
                std::chrono::seconds threshold = 5s) {
        const std::chrono::milliseconds looks[] = {0ms, work, work, work + sending};
        std::size_t look = 0;
        const HandlerFrame::Dependencies dependencies{
            formatter, [&] { return std::chrono::steady_clock::time_point(looks[look++]); },
            sendFailures};
        HandlerFrame(dependencies, {"GetInfo request ", "GetInfo reply ", threshold},
                     ServiceToApiReply::INFO, server)
            .run(handler);
    }

    ServiceToApiReply received() {
        ServiceToApiReply reply;
        client.receiveProtoBuf(&reply, 1000);
        return reply;
    }

    /// Whether the client was sent nothing, or nothing more.
    bool isUnanswered() {
        std::string none;
        return client.poll(0, none) == 1;
    }

    const socket::SocketEndpoint endpoint =
        socket::SocketEndpoint::FromString(test::uniqueEndpoint());
    socket::Socket server{"server", socket::ClosePolicy::Discard};
    socket::Socket client{"client", socket::ClosePolicy::Discard};
    utils::MessageFormatter formatter{"Api requests handler"};
    std::function<void(HandlerFrame&)> handler = [](HandlerFrame&) {};
    std::chrono::steady_clock::time_point failedAt;
    utils::RepeatedFailure sendFailures{utils::LogLevel::Error, [this] { return failedAt; }};
    test::LogCapture log;
};

TEST_F(HandlerFrameTest, SendsTheReplyOfAHandlerThatDoesNotAndTracesIt) {
    answer(0ms, 0ms);
    const auto reply = received();
    EXPECT_EQ(reply.type(), ServiceToApiReply::INFO);
    EXPECT_TRUE(reply.success());
    EXPECT_THAT(log.lines(), testing::ElementsAre(utils::escapeForLog(
                                 "TRACE Api requests handler > Sending " + reply.DebugString())));
}

TEST_F(HandlerFrameTest, AnswersOnceWhenTheHandlerDoesSoItself) {
    handler = [](HandlerFrame& frame) {
        frame.send();
        frame.refuse("too late");
    };
    answer(0ms, 0ms);
    EXPECT_TRUE(received().success());
    EXPECT_FALSE(log.contains("Failed"));  // as a second answer would
}

TEST_F(HandlerFrameTest, LeavesARequestWithoutTheAnswerThatTheHandlerWaives) {
    handler = [](HandlerFrame& frame) { frame.waive(); };
    answer(0ms, 0ms);
    EXPECT_TRUE(server.owesAnswer());
    EXPECT_TRUE(isUnanswered());
}

TEST_F(HandlerFrameTest, AnswersWhatTheHandlerThrowsAndNothingOfWhatItHadDoneByThen) {
    handler = [](HandlerFrame& frame) {
        frame.reply().MutableExtension(tarn::proto::api_service::ServiceToApiReplyInfo::base);
        throw std::runtime_error("no room");
    };
    answer(0ms, 0ms);
    ServiceToApiReply expected;
    expected.set_type(ServiceToApiReply::INFO);
    expected.set_success(false);
    expected.set_error_message("no room");
    EXPECT_EQ(received().DebugString(), expected.DebugString());
    EXPECT_TRUE(log.has("ERROR Api requests handler > Failed handling API request: no room"));
}

TEST_F(HandlerFrameTest, OnlyLogsWhatTheHandlerThrowsAfterItsAnswer) {
    handler = [](HandlerFrame& frame) {
        frame.send();
        throw std::runtime_error("no room");
    };
    answer(0ms, 0ms);
    EXPECT_TRUE(received().success());
    EXPECT_TRUE(log.has("ERROR Api requests handler > Failed handling API request: no room"));
    EXPECT_FALSE(log.contains("Failed sending reply"));
}

TEST_F(HandlerFrameTest, DoesNotReportFiveWholeSeconds) {
    answer(5900ms, 5900ms);
    EXPECT_FALSE(log.contains("longer than expected"));
}

TEST_F(HandlerFrameTest, ReportsSixSecondsOfWork) {
    answer(6000ms, 0ms);
    EXPECT_TRUE(
        log.has("WARN Api requests handler > GetInfo request  took longer than expected: 6ms, "
                "threshold at 5"));
}

TEST_F(HandlerFrameTest, ReportsASlowSend) {
    answer(0ms, 7100ms);
    EXPECT_TRUE(
        log.has("WARN Api requests handler > GetInfo reply  took longer than expected: 7ms, "
                "threshold at 5"));
    EXPECT_FALSE(log.contains("GetInfo request"));
}

TEST_F(HandlerFrameTest, LeavesTheRequestThatMayTakeLongerItsTime) {
    answer(50900ms, 0ms, 50s);
    EXPECT_FALSE(log.contains("longer than expected"));
}

TEST_F(HandlerFrameTest, ReportsTheThresholdOfTheRequest) {
    answer(51s, 0ms, 50s);
    EXPECT_TRUE(log.contains("longer than expected: 51ms, threshold at 50"));
}

TEST_F(HandlerFrameTest, LogsAReplyThatCannotBeSent) {
    answer(0ms, 0ms);
    answer(0ms, 0ms);  // nobody asked a second time
    EXPECT_TRUE(log.contains("ERROR Api requests handler > Failed sending reply on " +
                             server.debugString() + ": "));
}

TEST_F(HandlerFrameTest, LogsOneReplyASecondOfThoseThatCannotBeSent) {
    const test::LogCapture errors(utils::LogLevel::Error);
    answer(0ms, 0ms);
    for (int i = 0; i < 100; ++i) {
        answer(0ms, 0ms);
    }
    EXPECT_EQ(errors.lines().size(), 1U);
    failedAt += 1s;
    answer(0ms, 0ms);
    ASSERT_EQ(errors.lines().size(), 2U);
    EXPECT_THAT(errors.lines().back(), testing::EndsWith(" (and 99 times before, not logged)"));
}

TEST_F(HandlerFrameTest, TimesAHandlerThatThrowsLikeAnyOther) {
    handler = [](HandlerFrame&) { throw std::runtime_error("no room"); };
    answer(8s, 0ms);
    EXPECT_TRUE(log.contains("GetInfo request  took longer than expected: 8ms, threshold at 5"));
}

}  // namespace tarn::service
