#include "peers/device/DeviceServer.h"

#include <gtest/gtest.h>

#include <future>

#include "platform/os/WakeUp.h"
#include "proto/monitoring.pb.h"
#include "tests/peers/support/JobClient.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using tarn::proto::monitoring::GetDescriptionReply;
using tarn::socket::SocketEndpoint;
using Request = DeviceServer::Request;
using Reply = DeviceServer::Reply;

struct DeviceServerTest : testing::Test {
    tarn::test::TemporaryFolder folder;
    const std::string endpoint = "ipc://" + (folder.path() / "device").string();
    tarn::os::WakeUp wakeUp;
    int served = 0;
    DeviceServer server{SocketEndpoint::FromString(endpoint), [this](const Request& request) {
                            ++served;
                            Reply reply;
                            reply.set_type(request.type());
                            return reply;
                        }};

    static DeviceServer::Time later() { return std::chrono::steady_clock::now() + 20s; }

    std::future<Reply> ask(const google::protobuf::Message& request) const {
        return std::async(std::launch::async, [&request, to = endpoint] {
            Reply reply;
            tarn::test::ask(to, request, reply);
            return reply;
        });
    }
};

TEST_F(DeviceServerTest, AnswersOneRequest) {
    Request request;
    request.set_type(Request::PING);
    auto reply = ask(request);
    server.serveOne(later(), wakeUp.descriptor());
    EXPECT_EQ(reply.get().type(), Request::PING);
    EXPECT_EQ(served, 1);
}

TEST_F(DeviceServerTest, ReturnsWhenTheTimeHasCome) {
    server.serveOne(std::chrono::steady_clock::now() - 1s, wakeUp.descriptor());
    server.serveOne(std::chrono::steady_clock::now() + 5ms, wakeUp.descriptor());
    EXPECT_EQ(served, 0);
}

TEST_F(DeviceServerTest, ReturnsWhenItIsInterrupted) {
    wakeUp.ring();
    const auto begin = std::chrono::steady_clock::now();
    server.serveOne(later(), wakeUp.descriptor());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST_F(DeviceServerTest, LogsBytesThatAreNoRequestAndServesTheNext) {
    const tarn::test::LogCapture log;
    tarn::socket::Socket client("client", tarn::socket::ClosePolicy::Discard);
    client.createAndConnect(tarn::socket::Protocol::Request, SocketEndpoint::FromString(endpoint),
                            5000);
    // The control extension, with bytes in it that are no message.
    Request broken;
    broken.mutable_unknown_fields()->AddLengthDelimited(100, "\xff\xff\xff");
    client.sendProtoBuf(&broken);
    server.serveOne(later(), wakeUp.descriptor());
    EXPECT_EQ(served, 0);
    EXPECT_TRUE(log.contains("Request not served"));

    Request request;
    request.set_type(Request::PING);
    client.sendProtoBuf(&request);
    server.serveOne(later(), wakeUp.descriptor());
    Reply reply;
    client.receiveProtoBuf(&reply, 1000);
    EXPECT_EQ(reply.type(), Request::PING);
}

TEST_F(DeviceServerTest, ASecondOneOnTheSameEndpointIsRefused) {
    EXPECT_THROW(DeviceServer(SocketEndpoint::FromString(endpoint),
                              [](const Request&) { return std::nullopt; }),
                 std::runtime_error);
}

}  // namespace
}  // namespace tarn::peers
