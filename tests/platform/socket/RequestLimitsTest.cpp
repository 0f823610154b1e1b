#include <gmock/gmock.h>
#include <google/protobuf/unknown_field_set.h>
#include <zmq.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/socket/Limits.h"
#include "tests/platform/socket/RawPeer.h"
#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

constexpr std::uint32_t anySize = 64U << 20;

/// A message with others in it that nobody knows, so many levels deep.
std::string nested(int levels) {
    std::string inner;
    for (int i = 0; i < levels; ++i) {
        google::protobuf::UnknownFieldSet outer;
        auto* const group = outer.AddGroup(5000);
        group->ParseFromString(inner);
        outer.SerializeToString(&inner);
    }
    return inner;
}

bool isTaken(Socket& answering, const std::string& request) {
    Message message;
    try {
        answering.receiveProtoBuf(&message, anySize);
        return message.SerializeAsString() == request;
    } catch (const std::runtime_error&) {
        return false;
    }
}

}  // namespace

TEST(RequestLimitsTest, ARequestOfTenMebibytesIsTakenAndALargerOneEndsItsConnection) {
    const auto endpoint = ipcEndpoint();
    const auto answering = open(Protocol::Reply, endpoint);
    RawPeer asking(ZMQ_DEALER, endpoint);
    ASSERT_TRUE(asking.send({"", std::string(largestRequestSize, 'x')}));
    EXPECT_EQ(answering->receiveBytes(anySize).size(), largestRequestSize);
    ASSERT_TRUE(asking.send({"", std::string(largestRequestSize + 1000, 'x')}));
    ASSERT_TRUE(asking.send({"", "lost with its connection, or on the next one"}));
    answering->setTimeout(std::chrono::milliseconds(300));
    try {
        EXPECT_LT(answering->receiveBytes(anySize).size(), 100U);
    } catch (const std::runtime_error&) {
    }
}

TEST(RequestLimitsTest, WhoWantsLargerOnesSaysSo) {
    const auto endpoint = ipcEndpoint();
    Socket answering("Answering", ClosePolicy::Discard);
    EXPECT_THROW(answering.setLargestReceived((std::size_t{64} << 20) + 1), std::invalid_argument);
    answering.setLargestReceived(2 * largestRequestSize);
    answering.createAndConnect(Protocol::Reply, endpoint, 0);
    EXPECT_THROW(answering.setLargestReceived(1), std::invalid_argument);
    RawPeer asking(ZMQ_DEALER, endpoint);
    ASSERT_TRUE(asking.send({"", std::string(2 * largestRequestSize, 'x')}));
    EXPECT_EQ(answering.receiveBytes(anySize).size(), 2 * largestRequestSize);
}

TEST(RequestLimitsTest, ARequestThatIsNestedTooDeepIsDroppedAndTheNextIsServed) {
    const auto endpoint = ipcEndpoint();
    const auto answering = open(Protocol::Reply, endpoint);
    RawPeer asking(ZMQ_DEALER, endpoint);
    for (const int levels : {deepestRequest, deepestRequest + 1, 100000, 1}) {
        const auto request = nested(std::min(levels, 1000));
        ASSERT_TRUE(asking.send({"", request}));
        EXPECT_EQ(isTaken(*answering, request), levels <= deepestRequest) << levels;
    }
}

TEST(RequestLimitsTest, FewRequestsOfAPeerWait) {
    const auto endpoint = ipcEndpoint();
    const auto answering = open(Protocol::Reply, endpoint);
    RawPeer asking(ZMQ_DEALER, endpoint, ZMQ_SNDHWM);  // one waits there
    const std::string request(256 << 10, 'x');
    int sent = 0;
    for (int tries = 0; tries < 200 && sent < 200; ++tries) {
        sent += asking.send({"", request}) ? 1 : 0;
        asking.poll(5);  // the time that the next one has to get away
    }
    EXPECT_GE(sent, requestQueueLength);
    EXPECT_LE(sent, 2 * requestQueueLength);
    for (int i = 0; i < sent; ++i) {
        EXPECT_EQ(answering->receiveBytes(anySize), request);
    }
}

// The library hears of what he took of earlier answers only later.
TEST(RequestLimitsTest, WhoAsksAheadWithinTheLimitHasAllHisAnswers) {
    const auto endpoint = ipcEndpoint();
    const auto answering = open(Protocol::Reply, endpoint);
    RawPeer asking(ZMQ_DEALER, endpoint, ZMQ_RCVHWM);  // what he does not take waits at the server
    const auto ask = [&](int count, const std::string& answer) {
        for (int i = 0; i < count; ++i) {
            ASSERT_TRUE(asking.send({"", "question"}));
        }
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(answering->receiveBytes(anySize), "question");
            EXPECT_NO_THROW(answering->sendBytes(answer)) << i;
        }
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(asking.receive(), (std::vector<std::string>{"", answer})) << i;
        }
    };
    const std::string large(512U << 10, 'x');
    for (int takenBefore = 0; takenBefore < requestQueueLength; ++takenBefore) {
        ask(takenBefore, "small");
        ask(requestQueueLength, large);
    }
}

}  // namespace tarn::socket::test
