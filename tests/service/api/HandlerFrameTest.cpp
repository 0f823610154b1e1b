#include "service/api/HandlerFrame.h"

#include <gmock/gmock.h>

#include "platform/utils/EscapedText.h"
#include "platform/utils/RepeatedFailure.h"
#include "service/api/RequestTimes.h"
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
        reply.set_type(ServiceToApiReply::INFO);
    }

    /// A request that takes `work` to handle, and `sending` to answer.
    void answer(std::chrono::milliseconds work, std::chrono::milliseconds sending,
                std::chrono::seconds threshold = 5s) {
        const std::chrono::milliseconds looks[] = {0ms, work, work, work + sending};
        std::size_t look = 0;
        const HandlerFrame::Dependencies dependencies{
            formatter, [&] { return std::chrono::steady_clock::time_point(looks[look++]); },
            sendFailures};
        HandlerFrame frame(dependencies, {"GetInfo request ", "GetInfo reply ", threshold});
        frame.send(reply, server);
    }

    const socket::SocketEndpoint endpoint =
        socket::SocketEndpoint::FromString(test::uniqueEndpoint());
    socket::Socket server{"server", socket::ClosePolicy::Discard};
    socket::Socket client{"client", socket::ClosePolicy::Discard};
    utils::MessageFormatter formatter{"Api requests handler"};
    ServiceToApiReply reply;
    std::chrono::steady_clock::time_point failedAt;
    utils::RepeatedFailure sendFailures{utils::LogLevel::Error, [this] { return failedAt; }};
    test::LogCapture log;
};

TEST_F(HandlerFrameTest, SendsTheReplyAndTracesIt) {
    answer(0ms, 0ms);
    ServiceToApiReply received;
    client.receiveProtoBuf(&received, 1000);
    EXPECT_EQ(received.type(), ServiceToApiReply::INFO);
    EXPECT_THAT(log.lines(), testing::ElementsAre(utils::escapeForLog(
                                 "TRACE Api requests handler > Sending " + reply.DebugString())));
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

TEST_F(HandlerFrameTest, CountsTheWorkOfTheFrameThatItTakesOverFrom) {
    startTime = std::chrono::steady_clock::time_point(0s);
    const HandlerFrame::Dependencies dependencies{
        formatter, [] { return std::chrono::steady_clock::time_point(8s); }, sendFailures};
    HandlerFrame(dependencies, {"GetInfo request ", "GetInfo reply "}, HandlerFrame::Work::HasBegun)
        .send(reply, server);
    EXPECT_TRUE(log.contains("GetInfo request  took longer than expected: 8ms, threshold at 5"));
}

}  // namespace tarn::service
