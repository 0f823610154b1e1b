#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zmq.h>

#include <random>
#include <stdexcept>

#include "tests/platform/socket/RawPeer.h"
#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

std::string randomBytes(std::size_t count) {
    static std::mt19937 generator(7);
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes += static_cast<char>(generator() & 0xff);
    }
    return bytes;
}

/// What opens a connection of the current protocol version, without encryption.
std::string greeting() {
    std::string bytes("\xff\0\0\0\0\0\0\0\1\x7f\3\0NULL", 16);
    bytes.resize(64, '\0');
    return bytes;
}

std::vector<std::string> badStreams() {
    std::vector<std::string> streams{
        "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n", std::string(100000, '\0'),
        std::string(100000, '\xff'), greeting(), greeting() + std::string(1000, '\xff'),
        // a frame that announces more than there is memory
        greeting() + std::string("\2\x7f\xff\xff\xff\xff\xff\xff\xff", 9) + "...",
        std::string("\xff\0\0\0\0\0\0\0\1\x7f\3\0CURVE", 17) + std::string(47, '\0'),
        // of what is not linked in
        std::string("\xff\0\0\0\0\0\0\0\1\x7f\3\0GSSAPI", 18) + std::string(46, '\0') +
            std::string("\4\x16\x8INITIATE\0\0\0\0\0\0\0\0\0\0\0\0\0", 24),
        std::string("\1\0\5\0hello", 9),  // the first version of the protocol
    };
    for (const std::size_t count : {1U, 10U, 64U, 1000U, 50000U}) {
        streams.push_back(randomBytes(count));
        streams.push_back(greeting() + randomBytes(count));
    }
    return streams;
}

/// Takes the next message, past those that do not parse.
std::string receiveGood(Socket& socket) {
    for (int i = 0; i < 1000; ++i) {
        try {
            return receive(socket);
        } catch (const std::runtime_error& failure) {
            EXPECT_THAT(failure.what(), HasSubstr("dropped"));
        }
    }
    return "nothing good";
}

}  // namespace

TEST(HostileInputTest, GarbageOnAConnectionDoesNotHurtTheNextMessage) {
    for (const auto& endpoint : {ipcEndpoint(), tcpEndpoint()}) {
        const auto pull = open(Protocol::Pull, endpoint);
        const auto push = open(Protocol::Push, endpoint, patienceMs);
        for (const auto& bytes : badStreams()) {
            pourInto(endpoint, bytes);
            send(*push, "x");
            std::string text;
            for (int i = 0; i < 1000 && text != "x"; ++i) {
                text = receiveGood(*pull);
            }
            EXPECT_EQ(text, "x");
        }
    }
}

TEST(HostileInputTest, GarbageOnAConnectionDoesNotHurtTheNextRequest) {
    for (const auto& endpoint : {ipcEndpoint(), tcpEndpoint()}) {
        const auto reply = open(Protocol::Reply, endpoint);
        const auto request = open(Protocol::Request, endpoint, patienceMs);
        for (const auto& bytes : badStreams()) {
            pourInto(endpoint, bytes);
            send(*request, "x");
            std::string text;
            for (int i = 0; i < 1000 && text != "x"; ++i) {
                text = receiveGood(*reply);
            }
            send(*reply, "y");
            EXPECT_EQ(receive(*request), "y");
        }
    }
}

TEST(HostileInputTest, AnotherProtocolIsHungUpOn) {
    const auto endpoint = ipcEndpoint();
    const auto reply = open(Protocol::Reply, endpoint);
    EXPECT_TRUE(pourInto(endpoint, greeting() + std::string(1000, '\xff')));
}

TEST(HostileInputTest, AMessageThatDoesNotParseIsDropped) {
    const auto endpoint = ipcEndpoint();
    const auto reply = open(Protocol::Reply, endpoint);
    RawPeer peer(ZMQ_REQ, endpoint);
    ASSERT_TRUE(peer.send({std::string(20, '\xff')}));
    Message left = message("left over");
    EXPECT_THAT([&] { reply->receiveProtoBuf(&left, maxBytes); },
                ThrowsMessage<std::runtime_error>(
                    HasSubstr("a message of 20 bytes that is no tarn.proto.job_monitoring.JobEvent "
                              "was dropped")));
    EXPECT_EQ(left.job_id(), "");
    EXPECT_THROW(send(*reply, "an answer"), std::runtime_error);
}

TEST(HostileInputTest, AMessageOverTheLimitIsDroppedAndTheNextIsServed) {
    const auto endpoint = ipcEndpoint();
    const auto reply = open(Protocol::Reply, endpoint);
    const auto request = open(Protocol::Request, endpoint, patienceMs);
    const auto fits = std::string(96, 'x');  // with tag and length, 98 bytes
    Message received;
    send(*request, fits + "y");
    EXPECT_THAT([&] { reply->receiveProtoBuf(&received, 98); },
                ThrowsMessage<std::runtime_error>(
                    "test socket on " + endpoint.toString(Protocol::Reply) +
                    ": a message of 99 bytes was dropped, the limit is 98 bytes"));
    EXPECT_THROW(send(*reply, "an answer"), std::runtime_error);
    send(*request, fits);
    reply->receiveProtoBuf(&received, 98);
    EXPECT_EQ(received.job_id(), fits);
}

TEST(HostileInputTest, AMessageThatNoLimitAllowsIsNotTakenFromTheWire) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    {
        RawPeer peer(ZMQ_PUSH, endpoint);
        const std::size_t withItsSeal = (64U << 20) + 64;
        ASSERT_TRUE(peer.send({std::string(withItsSeal + 1, 'x')}));
        EXPECT_EQ(poll(*pull, 500), 1);
    }
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    send(*push, "x");
    EXPECT_EQ(receive(*pull), "x");
}

TEST(HostileInputTest, AMessageThatNoLimitAllowsIsNotSentEither) {
    const auto endpoint = ipcEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    EXPECT_THAT([&] { send(*push, std::string(64U << 20, 'x')); },
                ThrowsMessage<std::runtime_error>(HasSubstr("too large to be sent")));
    send(*push, "x");
    EXPECT_EQ(receive(*pull), "x");
}

}  // namespace tarn::socket::test
