#include "platform/socket/PublishingEndpoint.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tarn::socket {

namespace {

std::string published(const std::string& events) {
    const auto endpoint = SocketEndpoint::FromString(events);
    return publishingEndpointFor(endpoint).toString(Protocol::None);
}

}  // namespace

TEST(PublishingEndpointTest, BesideAnIpcEndpoint) {
    EXPECT_EQ(published("ipc:///tmp/events"), "ipc:///tmp/events.pub");
    EXPECT_EQ(published("ipc:///run/x/events"), "ipc:///run/x/events.pub");
}

TEST(PublishingEndpointTest, ThePortAfterATcpEndpoint) {
    EXPECT_EQ(published("tcp://127.0.0.1:5556"), "tcp://127.0.0.1:5557");
    EXPECT_EQ(published("tcp://*:5556"), "tcp://*:5557");
}

TEST(PublishingEndpointTest, WhereNoneFollowsItIsSaid) {
    EXPECT_THROW(published("tcp://127.0.0.1:65535"), std::invalid_argument);
    EXPECT_THROW(published("inproc://events"), std::invalid_argument);
    EXPECT_THROW(published("ipc:///tmp/" + std::string(100, 'x')), std::invalid_argument);
}

}  // namespace tarn::socket
