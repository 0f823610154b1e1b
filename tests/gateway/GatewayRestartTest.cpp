#include <signal.h>

#include "tests/gateway/GatewayBed.h"

namespace tarn::gateway {

using test::ServiceEventBatch;
using test::Subscriber;

namespace {

class GatewayRestartTest : public test::GatewayBed {
  protected:
    void SetUp() override { startGateway(); }

    /// Sends until this subscriber gets a batch of the gateway with this instance.
    ServiceEventBatch sendUntilHeard(Subscriber& subscriber, const std::string& otherThan) {
        for (int tries = 0; tries < 1000; ++tries) {
            send(test::deviceAdded("back"));
            while (const auto batch = subscriber.poll(10)) {
                if (batch->gateway_instance() != otherThan && batch->has_device_tree()) {
                    return *batch;
                }
            }
        }
        ADD_FAILURE() << "nothing came back";
        return {};
    }
};

}  // namespace

TEST_F(GatewayRestartTest, AKilledGatewayIsFoundAgainByBothSides) {
    Subscriber subscriber(published);
    const auto before = subscriber.next().gateway_instance();
    send(test::deviceAdded("cam1"));
    EXPECT_EQ(test::firstDevice(subscriber.next()), "cam1");
    for (int i = 0; i < 3; ++i) {
        stopGateway(SIGKILL);
        startGateway();
        const auto batch = sendUntilHeard(subscriber, before);
        EXPECT_EQ(test::firstDevice(batch), "back");
    }
    EXPECT_EQ(stopGateway(SIGINT), 0);
}

TEST_F(GatewayRestartTest, AfterARestartTheTreeIsKnownAgainWithTheNextOne) {
    send(test::treeOnly("cam1"));
    Subscriber(published).next();
    EXPECT_EQ(stopGateway(SIGINT), 0);
    startGateway();
    Subscriber subscriber(published);
    const auto first = subscriber.next();
    EXPECT_TRUE(first.catch_up());
    EXPECT_FALSE(first.has_device_tree());
    sendUntilHeard(subscriber, "");
    EXPECT_EQ(test::firstDevice(Subscriber(published).next()), "back");
}

TEST_F(GatewayRestartTest, ARestartedServiceGoesOnWithTheSameNumbers) {
    Subscriber subscriber(published);
    subscriber.next();
    send(test::treeOnly("cam1"));
    EXPECT_EQ(subscriber.next().sequence(), 1U);
    restartService();
    send(test::treeOnly("cam2"));
    const auto next = subscriber.next();
    EXPECT_EQ(next.sequence(), 2U);
    EXPECT_EQ(test::firstDevice(next), "cam2");
}

}  // namespace tarn::gateway
