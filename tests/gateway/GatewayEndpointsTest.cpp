#include "gateway/GatewayEndpoints.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tarn::gateway {

namespace {

std::string published(const std::string& events) {
    const auto endpoint = tarn::socket::SocketEndpoint::FromString(events);
    return publishEndpointFor(endpoint).toString(tarn::socket::Protocol::None);
}

}  // namespace

TEST(GatewayEndpoints, BesideAnIpcEndpoint) {
    EXPECT_EQ(published("ipc:///tmp/events"), "ipc:///tmp/events.pub");
    EXPECT_EQ(published("ipc:///run/x/events"), "ipc:///run/x/events.pub");
}

TEST(GatewayEndpoints, ThePortAfterATcpEndpoint) {
    EXPECT_EQ(published("tcp://127.0.0.1:5556"), "tcp://127.0.0.1:5557");
    EXPECT_EQ(published("tcp://*:5556"), "tcp://*:5557");
}

TEST(GatewayEndpoints, WhereNoneFollowsItIsSaid) {
    EXPECT_THROW(published("tcp://127.0.0.1:65535"), std::invalid_argument);
    EXPECT_THROW(published("inproc://events"), std::invalid_argument);
    EXPECT_THROW(published("ipc:///tmp/" + std::string(100, 'x')), std::invalid_argument);
}

}  // namespace tarn::gateway
