#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <fstream>

#include "tests/gateway/GatewayBed.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/DatagramReceiver.h"

// The program as it is built, in a process of its own.
namespace tarn::gateway {

using test::ServiceEventBatch;
using test::Subscriber;
using testing::HasSubstr;

namespace {

class GatewayProgramTest : public test::GatewayBed {
  protected:
    void SetUp() override { startGateway(); }

    /// One that has been let in, and has taken its first batch.
    std::unique_ptr<Subscriber> subscriber() {
        auto result = std::make_unique<Subscriber>(published);
        EXPECT_TRUE(result->next().catch_up());
        return result;
    }
};

}  // namespace

TEST_F(GatewayProgramTest, ALateSubscriberGetsTheLastTreeAtOnce) {
    const auto early = subscriber();
    send(test::deviceAdded("cam1"));
    send(ServiceEventBatch());
    EXPECT_EQ(early->next().sequence(), 1U);
    EXPECT_EQ(early->next().sequence(), 2U);
    // Nothing is sent any more: what it gets it gets for having come.
    Subscriber late(published);
    const auto first = late.next();
    EXPECT_TRUE(first.catch_up());
    EXPECT_EQ(test::firstDevice(first), "cam1");
    EXPECT_EQ(first.events_size(), 0);
    EXPECT_EQ(first.sequence(), 2U);
}

TEST_F(GatewayProgramTest, TheOthersDoNotNoticeANewcomer) {
    const auto early = subscriber();
    send(test::treeOnly("cam1"));
    EXPECT_EQ(early->next().sequence(), 1U);
    for (int i = 0; i < 10; ++i) {
        subscriber();
    }
    send(ServiceEventBatch());
    const auto next = early->next();
    EXPECT_FALSE(next.catch_up());
    EXPECT_EQ(next.sequence(), 2U);
}

TEST_F(GatewayProgramTest, ASubscriberOfAnotherMakeIsServed) {
    send(test::treeOnly("cam1"));
    Subscriber any(published);
    EXPECT_EQ(any.next().gateway_instance().size(), 36U);
}

TEST_F(GatewayProgramTest, AHundredSubscribersGetEveryBatchInOrder) {
    constexpr int batches = 200;
    constexpr int inARow = 4;  // no more than fit a subscriber's queue
    std::vector<std::unique_ptr<Subscriber>> subscribers;
    for (int i = 0; i < 100; ++i) {
        subscribers.push_back(subscriber());
    }
    for (int sent = 0; sent < batches; sent += inARow) {
        for (int i = sent; i < sent + inARow; ++i) {
            send(test::deviceAdded(std::to_string(i)));
        }
        for (const auto& one : subscribers) {
            for (int i = sent; i < sent + inARow; ++i) {
                const auto batch = one->next();
                ASSERT_EQ(batch.sequence(), static_cast<std::uint64_t>(i) + 1);
                ASSERT_EQ(test::firstDevice(batch), std::to_string(i));
                ASSERT_EQ(batch.events_size(), 1);
            }
        }
    }
}

TEST_F(GatewayProgramTest, ASubscriberThatDoesNotReadHarmsNobodyAndIsNoticed) {
    const auto idle = subscriber();
    const auto one = subscriber();
    const auto other = subscriber();
    const auto large = test::fullTree(500);
    for (std::uint64_t number = 1; number <= 400; ++number) {
        send(large);
        ASSERT_EQ(one->next().sequence(), number);
        ASSERT_EQ(other->next().sequence(), number);
    }
    EXPECT_TRUE(gateway().waitForErr("a subscriber is too slow and loses batches (1 times)"));
    // It has what fits, in order, and can tell that the rest is missing.
    std::uint64_t number = 0;
    while (const auto batch = idle->poll(100)) {
        EXPECT_EQ(batch->sequence(), ++number);
    }
    EXPECT_GT(number, 0U);
    EXPECT_LT(number, 400U);
    std::optional<ServiceEventBatch> again;
    for (int tries = 0; tries < 1000 && !again; ++tries) {
        send(ServiceEventBatch());
        again = idle->poll(10);
    }
    ASSERT_TRUE(again);
    EXPECT_GT(again->sequence(), 400U);
}

TEST_F(GatewayProgramTest, GarbageIsDroppedAndSaid) {
    const auto one = subscriber();
    send(test::treeOnly("cam1"));
    for (int i = 0; i < 50; ++i) {
        sendBytes("garbage");
        sendBytes(std::string("\x0a\x05garba", 7));
    }
    send(ServiceEventBatch());
    EXPECT_EQ(one->next().sequence(), 1U);
    EXPECT_EQ(one->next().sequence(), 2U);
    EXPECT_EQ(test::firstDevice(Subscriber(published).next()), "cam1");
    gateway().signal(SIGINT);
    const auto result = gateway().wait();
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.out, HasSubstr("a message of 7 bytes that is no batch of the service"));
    EXPECT_THAT(result.out, HasSubstr("dropped 100;"));
    EXPECT_LT(std::count(result.err.begin(), result.err.end(), '\n'), 10) << result.err;
}

TEST_F(GatewayProgramTest, ABatchThatIsTooLargeIsDroppedAndSaid) {
    const auto one = subscriber();
    sendBytes(std::string((64U << 20U) - 1000, 'x'));
    EXPECT_TRUE(gateway().waitForErr("dropped 1, the last one: "));
    send(ServiceEventBatch());
    EXPECT_EQ(one->next().sequence(), 1U);
}

TEST_F(GatewayProgramTest, WhoLeavesIsNoSubscriberAnyMore) {
    const auto stays = subscriber();
    subscriber().reset();
    bool isCounted = false;
    for (int tries = 0; tries < 100 && !isCounted; ++tries) {
        gateway().signal(SIGUSR1);
        isCounted =
            gateway().waitForErr("subscribers 1, newcomers 2", std::chrono::milliseconds(100));
    }
    EXPECT_TRUE(isCounted);
}

TEST_F(GatewayProgramTest, ReportsWhatWentThroughWhenAskedAndAtItsEnd) {
    const auto one = subscriber();
    send(ServiceEventBatch());
    one->next();
    gateway().signal(SIGUSR1);
    EXPECT_TRUE(
        gateway().waitForErr("batches in 1 (0 bytes), out 1 (40 bytes), dropped 0; "
                             "subscribers 1, newcomers 1, too slow 0 times"));
    EXPECT_EQ(stopGateway(SIGTERM), 0);
}

TEST_F(GatewayProgramTest, EndsInOrderOnEitherSignal) {
    EXPECT_EQ(stopGateway(SIGINT), 0);
    startGateway();
    EXPECT_EQ(stopGateway(SIGTERM), 0);
}

TEST_F(GatewayProgramTest, AnEndpointInUseIsALineAndStatusOne) {
    const auto result = test::runProcess({TARN_GATEWAY_PROGRAM, "--events", events});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr("cannot listen on " + published));
    // The first one still works.
    send(test::treeOnly("cam1"));
    EXPECT_EQ(subscriber()->poll(0), std::nullopt);
}

TEST(GatewayReadinessTest, TheServiceManagerIsToldWhenTheEndpointsCanBeReached) {
    const test::TemporaryFolder folder;
    const auto events = "ipc://" + (folder.path() / "events").string();
    const auto path = (folder.path() / "notify").string();
    const test::DatagramReceiver manager(path);
    test::Process program({TARN_GATEWAY_PROGRAM, "--events", events}, {{"NOTIFY_SOCKET", path}});
    EXPECT_EQ(manager.next(), "READY=1");
    EXPECT_TRUE(test::Subscriber(events + ".pub").next().catch_up());
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait().exitStatus, 0);
}

TEST(GatewayReadinessTest, AServiceManagerThatCannotBeToldIsALine) {
    const test::TemporaryFolder folder;
    const auto events = "ipc://" + (folder.path() / "events").string();
    for (const auto& nowhere : {(folder.path() / "none").string(), std::string(300, 'x')}) {
        test::Process program({TARN_GATEWAY_PROGRAM, "--events", events},
                              {{"NOTIFY_SOCKET", nowhere}});
        EXPECT_TRUE(program.waitForErr("the service manager cannot be told: "));
        program.signal(SIGTERM);
        EXPECT_EQ(program.wait().exitStatus, 0);
    }
}

TEST(GatewayLogTest, WhoReadsItMayGoAway) {
    const test::TemporaryFolder folder;
    const auto events = "ipc://" + (folder.path() / "events").string();
    const auto log = (folder.path() / "log").string();
    ASSERT_EQ(::mkfifo(log.c_str(), 0600), 0);
    test::Process program(
        {"sh", "-c", R"(exec "$0" --events "$1" 2>"$2")", TARN_GATEWAY_PROGRAM, events, log});
    std::ifstream reader(log);
    std::string line;
    EXPECT_TRUE(std::getline(reader, line));
    reader.close();
    program.signal(SIGUSR1);
    EXPECT_TRUE(test::Subscriber(events + ".pub").next().catch_up());
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait().exitStatus, 0);
}

TEST(GatewayCommandLineTest, UsageErrorsAreStatusTwo) {
    EXPECT_EQ(test::runProcess({TARN_GATEWAY_PROGRAM, "--nonsense"}).exitStatus, 2);
    EXPECT_EQ(test::runProcess({TARN_GATEWAY_PROGRAM, "--help"}).exitStatus, 0);
}

}  // namespace tarn::gateway
