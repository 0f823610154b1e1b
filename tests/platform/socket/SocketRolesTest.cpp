#include <gtest/gtest.h>

#include "tests/platform/socket/SocketTestSupport.h"

namespace tarn::socket::test {

namespace {

SocketEndpoint endpointOver(Transport transport) {
    switch (transport) {
        case Transport::Ipc:
            return ipcEndpoint();
        case Transport::InProcess:
            return inProcessEndpoint();
        case Transport::Tcp:
            break;
    }
    return tcpEndpoint();
}

std::string nameOf(const testing::TestParamInfo<Transport>& info) {
    switch (info.param) {
        case Transport::Ipc:
            return "Ipc";
        case Transport::InProcess:
            return "InProcess";
        case Transport::Tcp:
            break;
    }
    return "Tcp";
}

class SocketRolesTest : public testing::TestWithParam<Transport> {
  protected:
    const SocketEndpoint endpoint = endpointOver(GetParam());
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Transports, SocketRolesTest,
                         testing::Values(Transport::Ipc, Transport::InProcess, Transport::Tcp),
                         nameOf);

TEST_P(SocketRolesTest, WhatIsPushedIsPulledInOrder) {
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    for (int i = 0; i < 100; ++i) {
        send(*push, std::to_string(i));
    }
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(receive(*pull), std::to_string(i));
    }
}

TEST_P(SocketRolesTest, ARequestIsAnsweredManyTimesOver) {
    const auto reply = open(Protocol::Reply, endpoint);
    const auto request = open(Protocol::Request, endpoint, patienceMs);
    for (int i = 0; i < 100; ++i) {
        send(*request, "question " + std::to_string(i));
        EXPECT_EQ(receive(*reply), "question " + std::to_string(i));
        send(*reply, "answer " + std::to_string(i));
        EXPECT_EQ(receive(*request), "answer " + std::to_string(i));
    }
}

TEST_P(SocketRolesTest, EverySubscriberReceivesWhatIsPublished) {
    const auto publish = open(Protocol::Publish, endpoint);
    const auto first = open(Protocol::Subscribe, endpoint, patienceMs);
    const auto second = open(Protocol::Subscribe, endpoint, patienceMs);
    // A subscription is on its way for a moment after the handshake.
    for (const auto* subscriber : {&first, &second}) {
        int tries = 0;
        do {
            send(*publish, "event");
        } while (poll(**subscriber, 10) != 0 && ++tries < 1000);
        EXPECT_EQ(receive(**subscriber), "event");
    }
}

TEST_P(SocketRolesTest, WhoeverConnectsMayComeFirst) {
    const auto push = open(Protocol::Push, endpoint);
    send(*push, "early");
    const auto pull = open(Protocol::Pull, endpoint);
    EXPECT_EQ(receive(*pull), "early");
}

TEST_P(SocketRolesTest, APeerThatComesBackIsFoundAgain) {
    auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    send(*push, "before");
    EXPECT_EQ(receive(*pull), "before");
    pull.reset();
    pull = open(Protocol::Pull, endpoint);
    int tries = 0;  // a message that was under way when the first one closed is lost
    do {
        send(*push, "after");
    } while (poll(*pull, 10) != 0 && ++tries < 900);
    EXPECT_EQ(receive(*pull), "after");
}

TEST_P(SocketRolesTest, AnEmptyMessageIsAMessage) {
    const auto reply = open(Protocol::Reply, endpoint);
    const auto request = open(Protocol::Request, endpoint, patienceMs);
    send(*request, "");
    EXPECT_EQ(receive(*reply), "");
    const Message empty;
    ASSERT_EQ(empty.ByteSizeLong(), 0U);
    reply->sendProtoBuf(&empty);
    Message received = message("something");
    request->receiveProtoBuf(&received, maxBytes);
    EXPECT_EQ(received.ByteSizeLong(), 0U);
}

TEST_P(SocketRolesTest, AnEndpointIsFreeAgainOnceItsSocketIsClosed) {
    for (int i = 0; i < 50; ++i) {
        const auto pull = open(Protocol::Pull, endpoint);
        EXPECT_EQ(pull->debugString(), "test socket on " + endpoint.toString(Protocol::Pull));
    }
}

TEST_P(SocketRolesTest, AnEndpointInUseIsRefused) {
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    try {
        open(Protocol::Pull, endpoint);
        FAIL() << "a second socket listens on the same endpoint";
    } catch (const std::runtime_error& failure) {
        EXPECT_NE(std::string(failure.what()).find(endpoint.toString(Protocol::Pull)),
                  std::string::npos)
            << failure.what();
        EXPECT_NE(std::string(failure.what()).find("ddress already in use"), std::string::npos)
            << failure.what();
    }
    EXPECT_THROW(pull->connect(endpoint, 0), std::runtime_error);
    send(*push, "still there");
    EXPECT_EQ(receive(*pull), "still there");
}

}  // namespace tarn::socket::test
