#include "cli/client/ServiceClient.h"

#include <gtest/gtest.h>

#include "cli/CommandError.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/api_service.pb.h"
#include "tests/cli/FakeService.h"

namespace tarn::cli {

namespace {

std::string endpointOfJob(const std::string& service, const std::string& job) {
    using namespace std::chrono_literals;
    const ServiceClient client(socket::SocketEndpoint::FromString(service), 1s);
    return client.endpointOfJob(job).toString(socket::Protocol::None);
}

}  // namespace

TEST(ServiceClientTest, LooksForTheJobsOfAServerFarAwayThere) {
    EXPECT_EQ(endpointOfJob("tcp://server:5555", "tcp://*:10001"), "tcp://server:10001");
}

TEST(ServiceClientTest, TakesAJobsEndpointAsItIsOtherwise) {
    EXPECT_EQ(endpointOfJob("ipc:///tmp/requests", "tcp://*:10001"), "tcp://*:10001");
    EXPECT_EQ(endpointOfJob("tcp://server:5555", "tcp://other:10001"), "tcp://other:10001");
    EXPECT_EQ(endpointOfJob("tcp://server:5555", "ipc:///tmp/job"), "ipc:///tmp/job");
}

TEST(ServiceClientTest, RefusesAnEndpointThatMakesNoSense) {
    EXPECT_THROW(endpointOfJob("tcp://server:5555", ""), CommandError);
    EXPECT_THROW(endpointOfJob("tcp://server:5555", "http://x"), CommandError);
}

TEST(ServiceClientTest, WaitsForAServiceThatHasAnsweredOnce) {
    using namespace std::chrono_literals;
    auto service = std::make_unique<test::FakeService>();
    const std::string endpoint = service->endpoint();
    ServiceClient client(socket::SocketEndpoint::FromString(endpoint), 10s);
    client.info();
    service.reset();
    try {
        client.deviceTree(100ms);
        ADD_FAILURE() << "answered";
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(), ("no answer from " + endpoint + " within 0.1 s").c_str());
    }
}

}  // namespace tarn::cli
