#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(BytesTest, ArriveAsTheyWereSent) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    for (const auto& bytes : {std::string(), std::string("\0\xff", 2), std::string(300000, 'x')}) {
        push->sendBytes(bytes);
        EXPECT_EQ(pull->receiveBytes(maxBytes), bytes);
    }
}

TEST(BytesTest, AreAMessageToThoseWhoReadMessages) {
    const auto endpoint = ipcEndpoint();
    const auto reply = open(Protocol::Reply, endpoint);
    const auto request = open(Protocol::Request, endpoint, patienceMs);
    request->sendBytes(message("question").SerializePartialAsString());
    EXPECT_EQ(receive(*reply), "question");
    send(*reply, "answer");
    EXPECT_EQ(request->receiveBytes(maxBytes), message("answer").SerializePartialAsString());
}

TEST(BytesTest, OverTheLimitAreDroppedAndNotAnswered) {
    const auto endpoint = ipcEndpoint();
    const auto reply = open(Protocol::Reply, endpoint);
    const auto request = open(Protocol::Request, endpoint, patienceMs);
    request->sendBytes("12345");
    EXPECT_THAT([&] { reply->receiveBytes(4); },
                ThrowsMessage<std::runtime_error>(
                    HasSubstr("a message of 5 bytes was dropped, the limit is 4 bytes")));
    EXPECT_THAT([&] { reply->sendBytes("x"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("no request to answer")));
}

TEST(BytesTest, TooManyForTheTransportAreNotSent) {
    const auto push = open(Protocol::Push, ipcEndpoint());
    EXPECT_THAT([&] { push->sendBytes(std::string((std::size_t{64} << 20) + 1, 'x')); },
                ThrowsMessage<std::runtime_error>(HasSubstr("too large to be sent")));
}

TEST(BytesTest, GoOnlyTheSocketsWay) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    EXPECT_THROW(pull->sendBytes("x"), std::invalid_argument);
    EXPECT_THROW(push->receiveBytes(maxBytes), std::invalid_argument);
    EXPECT_THROW(Socket("unopened", ClosePolicy::Discard).sendBytes("x"), std::runtime_error);
}

}  // namespace tarn::socket::test
