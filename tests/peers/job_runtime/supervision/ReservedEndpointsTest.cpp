#include "peers/job_runtime/supervision/ReservedEndpoints.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/socket/SocketEndpoint.h"
#include "proto/api_job.pb.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::Socket;
using tarn::socket::SocketEndpoint;

struct ReservedEndpointsTest : testing::Test {
    const test::TemporaryFolder folder;

    std::string endpoint(const std::string& name) const {
        return "ipc://" + (folder.path() / name).string();
    }
    static bool isFree(const std::string& endpoint) {
        try {
            Socket probe("probe", ClosePolicy::Discard);
            probe.createAndConnect(Protocol::Reply, SocketEndpoint::FromString(endpoint), 0);
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }
};

TEST_F(ReservedEndpointsTest, NobodyElseCanTakeThemAsLongAsTheyAreReserved) {
    {
        const ReservedEndpoints reserved({endpoint("a"), endpoint("b")}, {endpoint("c")});
        for (const auto* const name : {"a", "b", "c"}) {
            EXPECT_FALSE(isFree(endpoint(name))) << name;
        }
    }
    EXPECT_TRUE(isFree(endpoint("a")));
    EXPECT_TRUE(isFree(endpoint("c")));
}

TEST_F(ReservedEndpointsTest, WhatArrivesIsDroppedMessageByMessage) {
    const test::LogCapture log;
    const ReservedEndpoints reserved({endpoint("a")}, {});
    Socket sender("sender", ClosePolicy::Flush);
    sender.setQueueLength(2);
    sender.createAndConnect(Protocol::Push, SocketEndpoint::FromString(endpoint("a")), 5000);
    tarn::proto::api_job::ApiToJobRequest message;
    message.set_type(tarn::proto::api_job::ApiToJobRequest::STATUS);
    // More than fit on their way.
    for (int n = 0; n < 3000; ++n) {
        ASSERT_TRUE(sender.awaitRoom(10000)) << n;
        sender.sendProtoBuf(&message);
    }
    EXPECT_TRUE(log.waitFor("DEBUG Dropped a message on a reserved endpoint"));
}

TEST_F(ReservedEndpointsTest, OneThatIsTakenThrows) {
    const ReservedEndpoints first({endpoint("a")}, {});
    EXPECT_THROW(ReservedEndpoints({}, {endpoint("a")}), std::runtime_error);
    EXPECT_THROW(ReservedEndpoints({"nonsense"}, {}), std::invalid_argument);
}

TEST_F(ReservedEndpointsTest, MayBeNone) {
    const ReservedEndpoints none({}, {});
}

}  // namespace
}  // namespace tarn::peers
