#include "peers/device/PushChannel.h"

#include <gtest/gtest.h>

#include "proto/monitoring.pb.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

using tarn::proto::monitoring::DeviceToTarnServiceEvent;
using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::Socket;
using tarn::socket::SocketEndpoint;

struct PushChannelTest : testing::Test {
    tarn::test::TemporaryFolder folder;
    const std::string text = "ipc://" + (folder.path() / "events").string();
    const SocketEndpoint endpoint = SocketEndpoint::FromString(text);
    PushChannel channel{endpoint};
    DeviceToTarnServiceEvent event;

    void send(DeviceToTarnServiceEvent::Type type) {
        event.set_type(type);
        channel.send(event);
    }

    static DeviceToTarnServiceEvent::Type receiveFrom(Socket& service) {
        DeviceToTarnServiceEvent received;
        service.receiveProtoBuf(&received, 10'000);
        return received.type();
    }
};

TEST_F(PushChannelTest, NamesItsEndpoint) {
    EXPECT_EQ(channel.endpoint(), text);
}

TEST_F(PushChannelTest, SendsInOrderToWhoeverListensLater) {
    send(DeviceToTarnServiceEvent::STATUS_CHANGE);
    send(DeviceToTarnServiceEvent::CONFIGURATION_CHANGE);
    Socket service("service", ClosePolicy::Discard);
    service.createAndConnect(Protocol::Pull, endpoint, 0);
    EXPECT_EQ(receiveFrom(service), DeviceToTarnServiceEvent::STATUS_CHANGE);
    EXPECT_EQ(receiveFrom(service), DeviceToTarnServiceEvent::CONFIGURATION_CHANGE);
    send(DeviceToTarnServiceEvent::SHUTDOWN);
    EXPECT_EQ(receiveFrom(service), DeviceToTarnServiceEvent::SHUTDOWN);
}

TEST_F(PushChannelTest, SaysSoAtOnceWhenNobodyTakesItsEvents) {
    EXPECT_THROW(
        {
            for (int i = 0; i < 1000; ++i) {
                send(DeviceToTarnServiceEvent::STATUS_CHANGE);
            }
        },
        std::runtime_error);
}

}  // namespace
}  // namespace tarn::peers
