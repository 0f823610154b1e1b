#include "cli/ServiceClient.h"

#include <gtest/gtest.h>

#include "cli/CommandError.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::cli {

namespace {

std::string endpointOfJob(const std::string& service, const std::string& job) {
    using namespace std::chrono_literals;
    const ServiceClient client(socket::SocketEndpoint::FromString(service), 1s);
    return client.endpointOfJob(job).toString(socket::Protocol::None);
}

}  // namespace

TEST(ServiceClient, LooksForTheJobsOfAServerFarAwayThere) {
    EXPECT_EQ(endpointOfJob("tcp://server:5555", "tcp://*:10001"), "tcp://server:10001");
}

TEST(ServiceClient, TakesAJobsEndpointAsItIsOtherwise) {
    EXPECT_EQ(endpointOfJob("ipc:///tmp/requests", "tcp://*:10001"), "tcp://*:10001");
    EXPECT_EQ(endpointOfJob("tcp://server:5555", "tcp://other:10001"), "tcp://other:10001");
    EXPECT_EQ(endpointOfJob("tcp://server:5555", "ipc:///tmp/job"), "ipc:///tmp/job");
}

TEST(ServiceClient, RefusesAnEndpointThatMakesNoSense) {
    EXPECT_THROW(endpointOfJob("tcp://server:5555", ""), CommandError);
    EXPECT_THROW(endpointOfJob("tcp://server:5555", "http://x"), CommandError);
}

}  // namespace tarn::cli
