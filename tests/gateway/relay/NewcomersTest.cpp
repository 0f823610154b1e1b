#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>
#include <memory>

#include "tests/gateway/GatewayBed.h"
#include "tests/support/peers/SilentSubscriber.h"

// Many who come at once, and what they cost.
namespace tarn::gateway {

using test::ServiceEventBatch;
using test::SilentSubscriber;
using test::Subscriber;

namespace {

class NewcomersTest : public test::GatewayBed {
  protected:
    void SetUp() override { startGateway(); }

    std::size_t memoryOfTheGateway() {
        std::ifstream status("/proc/" + std::to_string(gateway().id()) + "/status");
        std::string word;
        std::size_t kilobytes = 0;
        while (status >> word) {
            if (word == "VmRSS:") {
                status >> kilobytes;
            }
        }
        return kilobytes * 1024;
    }
};

}  // namespace

TEST_F(NewcomersTest, ShareOneFirstMessage) {
    constexpr int count = 200;
    const auto tree = test::fullTree(10000);
    Subscriber early(published);
    send(tree);
    while (!early.next().has_device_tree()) {
        ASSERT_FALSE(HasFailure());
    }
    const auto before = memoryOfTheGateway();
    std::vector<std::unique_ptr<SilentSubscriber>> newcomers;
    for (int i = 0; i < count; ++i) {
        newcomers.push_back(std::make_unique<SilentSubscriber>(published));
    }
    // Who came last is let in last.
    Subscriber last(published);
    EXPECT_TRUE(last.next().catch_up());
    EXPECT_LT(memoryOfTheGateway(), before + count / 4 * tree.ByteSizeLong());
}

TEST_F(NewcomersTest, AreLetInOnceWhateverTheySubscribeTo) {
    SilentSubscriber subscriber(published);
    for (int i = 0; i < 10; ++i) {
        subscriber.subscribe(std::to_string(i));
    }
    Subscriber(published).next();
    Subscriber(published).next();  // it came after all of those
    gateway().signal(SIGUSR1);
    EXPECT_TRUE(gateway().waitForErr("newcomers 3, "));
}

TEST_F(NewcomersTest, WithTooLongATopicAreCutOff) {
    SilentSubscriber refused(published, std::string(300, 'x'));
    Subscriber(published).next();
    EXPECT_FALSE(refused.isConnected());
}

}  // namespace tarn::gateway
