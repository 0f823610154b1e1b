#include "service/api/HandlerFrame.h"

#include <gmock/gmock.h>

#include "platform/utils/EscapedText.h"
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
        HandlerFrame frame(formatter, {"GetInfo request ", "GetInfo reply ", threshold},
                           [&] { return std::chrono::steady_clock::time_point(looks[look++]); });
        frame.send(reply, server);
    }

    const socket::SocketEndpoint endpoint =
        socket::SocketEndpoint::FromString(test::uniqueEndpoint());
    socket::Socket server{"server", socket::ClosePolicy::Discard};
    socket::Socket client{"client", socket::ClosePolicy::Discard};
    utils::MessageFormatter formatter{"Api requests handler"};
    ServiceToApiReply reply;
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

}  // namespace tarn::service
