#include <gmock/gmock.h>
#include <signal.h>

#include "tests/gateway/AskedService.h"
#include "tests/gateway/GatewayBed.h"
#include "tests/support/MachineTime.h"

// The service's tree, where the gateway has to ask for it.
namespace tarn::gateway {

using test::AskedService;
using test::ServiceEventBatch;
using test::Subscriber;

namespace {

class AskedTreeTest : public test::GatewayBed {
  protected:
    static ServiceEventBatch numbered(std::uint64_t number, ServiceEventBatch batch = {},
                                      const std::string& instance = "service") {
        batch.set_service_sequence(number);
        batch.set_service_instance(instance);
        return batch;
    }

    /// A tree and an empty batch; returns when the subscriber has both.
    void sendFirstTwo(Subscriber& subscriber) {
        send(numbered(1, test::treeOnly("first")));
        send(numbered(2));
        while (subscriber.next().service_sequence() != 2) {
            ASSERT_FALSE(HasFailure());
        }
    }

    /// The next batch with a tree, in a catch-up or not.
    static ServiceEventBatch nextTree(Subscriber& subscriber) {
        auto batch = subscriber.next();
        while (!batch.has_device_tree() && !testing::Test::HasFailure()) {
            batch = subscriber.next();
        }
        return batch;
    }
};

}  // namespace

TEST_F(AskedTreeTest, IsFetchedAtTheStart) {
    const AskedService asked(requests, test::treeOnly("there already"));
    startGateway();
    Subscriber subscriber(published);
    EXPECT_EQ(test::firstDevice(nextTree(subscriber)), "there already");
}

TEST_F(AskedTreeTest, IsFetchedWhenTheServiceComesLater) {
    startGateway();
    ASSERT_TRUE(gateway().waitForErr("the service could not be asked for its tree (1 times)"));
    const AskedService asked(requests, test::treeOnly("came later"));
    send(numbered(1));
    Subscriber subscriber(published);
    EXPECT_EQ(test::firstDevice(nextTree(subscriber)), "came later");
}

TEST_F(AskedTreeTest, IsFetchedAfterAGapAndToldToThoseWhoAreThere) {
    AskedService asked(requests, test::treeOnly("first"));
    startGateway();
    Subscriber subscriber(published);
    sendFirstTwo(subscriber);
    asked.changeTo(test::treeOnly("second"));
    send(numbered(4));
    const auto batch = nextTree(subscriber);
    EXPECT_TRUE(batch.asked_for());
    EXPECT_EQ(test::firstDevice(batch), "second");
    EXPECT_EQ(test::firstDevice(Subscriber(published).next()), "second");
}

TEST_F(AskedTreeTest, IsFetchedWhenTheServiceIsAnother) {
    AskedService asked(requests, test::treeOnly("first"));
    startGateway();
    Subscriber subscriber(published);
    sendFirstTwo(subscriber);
    asked.changeTo(test::treeOnly("second"));
    send(numbered(3, {}, "another"));
    EXPECT_EQ(test::firstDevice(nextTree(subscriber)), "second");
}

TEST_F(AskedTreeTest, IsNotAskedForWhereNothingIsMissing) {
    const AskedService asked(requests, test::treeOnly("there already"));
    startGateway();
    Subscriber subscriber(published);
    EXPECT_EQ(test::firstDevice(nextTree(subscriber)), "there already");
    send(numbered(1, test::treeOnly("there already")));
    for (std::uint64_t number = 2; number < 100; ++number) {
        send(numbered(number));
    }
    while (subscriber.next().service_sequence() != 99) {
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_EQ(asked.asked(), 1U);
}

TEST_F(AskedTreeTest, TheGatewayEndsInOrderWhileItAsksAndAwaitsNoAnswer) {
    socket::Socket silent("silent service", socket::ClosePolicy::Discard);
    silent.createAndConnect(socket::Protocol::Reply, socket::SocketEndpoint::FromString(requests),
                            0);
    startGateway();
    std::string error;
    ASSERT_EQ(silent.poll(10000, error), 0);
    const test::MachineTime time;
    EXPECT_EQ(stopGateway(SIGTERM), 0);
    EXPECT_LT(time.elapsed(), std::chrono::seconds(4));  // an answer is awaited for 5
}

}  // namespace tarn::gateway
