#include "service/events/EventEmitter.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <optional>
#include <set>
#include <thread>

#include "platform/device_tree/DeviceNode.h"
#include "tests/service/support/BatchReceiver.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/Eventually.h"

namespace tarn::service {

using device_tree::DeviceNode;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using tarn::proto::service_event::ServiceEvent;
using tarn::proto::service_event::ServiceEventDeviceAdded;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class EventEmitterTest : public testing::Test {
  protected:
    static DeviceNode tree(const std::string& name) {
        return {"System", name, device_tree::DeviceClass::System};
    }

    static ServiceEvent added(const std::string& id) {
        ServiceEvent event;
        event.set_type(ServiceEvent::DEVICE_ADDED);
        event.MutableExtension(ServiceEventDeviceAdded::base)->set_device_id(id);
        return event;
    }

    void start(EventEmitter& emitter) const {
        emitter.startThread(socket::SocketEndpoint::FromString(receiver->endpoint()));
    }

    void startAndAwaitFirstBatch(EventEmitter& emitter) {
        start(emitter);
        pushAdded(emitter, "first");
        receiver->next();
    }

    static void pushAdded(EventEmitter& emitter, const std::string& id) {
        const auto event = added(id);
        emitter.pushEvent(tree(id), &event, /*notify=*/true);
    }

    // In which nothing must come; whatever is sent at once does.
    static constexpr milliseconds aMoment{200};

    std::size_t losses() const {
        const auto lines = log.lines();
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(),
                          [this](const auto& line) { return line.starts_with(loss); }));
    }

    bool awaitLosses(std::size_t count) const {
        return test::eventually([&] { return losses() >= count; });
    }

    /// Closes the receiver and adds devices "0", "1", ... until a batch is lost; the last one.
    std::string pushUntilLost(EventEmitter& emitter) {
        pushAdded(emitter, "0");
        receiver->next();
        receiver.reset();
        int pushed = 0;
        EXPECT_TRUE(test::eventually([&] {
            pushAdded(emitter, std::to_string(++pushed));
            return losses() > 0;
        }));
        return std::to_string(pushed);
    }

    const test::LogCapture log;
    std::optional<test::BatchReceiver> receiver{std::in_place};
    const std::string endpoint = receiver->endpoint();
    const std::string loss =
        "ERROR Internal Event Emitter > Failed sending events on EventEmitterSocket on " +
        endpoint + ": ";
};

TEST_F(EventEmitterTest, SendsAnEmptyBatchEachPeriodWhenNothingHappens) {
    EventEmitter emitter(milliseconds(20));
    start(emitter);
    for (int i = 0; i < 3; ++i) {
        const auto batch = receiver->next();
        EXPECT_FALSE(batch.has_device_tree());
        EXPECT_EQ(batch.events_size(), 0);
    }
}

TEST_F(EventEmitterTest, HasAPeriodOfOneSecond) {
    EventEmitter emitter;
    start(emitter);
    receiver->next();
    // After one that is taken late the next comes early.
    const auto first = steady_clock::now();
    receiver->next();
    receiver->next();
    const auto between = steady_clock::now() - first;
    EXPECT_GT(between, milliseconds(1200));
    EXPECT_LT(between, milliseconds(10000));
}

TEST_F(EventEmitterTest, FoldsStatusChangesIntoOneBatchWithTheLatestTreeAndNoEvents) {
    EventEmitter emitter(hours(1));
    startAndAwaitFirstBatch(emitter);
    for (const auto* const name : {"first", "second", "third"}) {
        emitter.pushEvent(tree(name), nullptr, /*notify=*/false);
    }
    EXPECT_FALSE(receiver->hasMore(aMoment));
    emitter.stopThread();  // what has gathered goes out at once
    const auto batch = receiver->next();
    EXPECT_EQ(batch.device_tree().name(), "third");
    EXPECT_THAT(batch.events(), IsEmpty());
    EXPECT_FALSE(receiver->hasMore());
}

TEST_F(EventEmitterTest, NothingOfABatchIsInALaterOne) {
    EventEmitter emitter(milliseconds(50));
    start(emitter);
    auto withDevice = tree("first");
    std::string error;
    ASSERT_TRUE(withDevice.addSubDevice(std::make_shared<DeviceNode>(tree("below")), false, error));
    const auto event = added("a");
    emitter.pushEvent(withDevice, &event, /*notify=*/true);
    auto batch = receiver->next();
    while (!batch.has_device_tree()) {
        batch = receiver->next();
    }
    EXPECT_EQ(batch.device_tree().sub_devices_size(), 1);
    EXPECT_FALSE(receiver->next().has_device_tree());
    emitter.pushEvent(tree("second"), nullptr, /*notify=*/true);
    batch = receiver->next();
    while (!batch.has_device_tree()) {
        batch = receiver->next();
    }
    EXPECT_EQ(batch.device_tree().name(), "second");
    EXPECT_EQ(batch.device_tree().sub_devices_size(), 0);
    EXPECT_THAT(batch.events(), IsEmpty());
}

// More than once: by then its thread waits, and must be woken.
TEST_F(EventEmitterTest, SendsAtOnceWhenADeviceIsAdded) {
    EventEmitter emitter(hours(1));
    start(emitter);
    for (int i = 0; i < 20; ++i) {
        const auto id = "cam" + std::to_string(i);
        pushAdded(emitter, id);
        const auto batch = receiver->next();
        EXPECT_THAT(test::describeEvents(batch), ElementsAre("2 " + id + " class 0"));
        EXPECT_EQ(batch.device_tree().name(), id);
    }
}

TEST_F(EventEmitterTest, AStatusChangeDoesNotWakeIt) {
    EventEmitter emitter(hours(1));
    startAndAwaitFirstBatch(emitter);
    emitter.pushEvent(tree("status"), nullptr, /*notify=*/false);
    EXPECT_FALSE(receiver->hasMore(aMoment));
    pushAdded(emitter, "cam1");
    EXPECT_THAT(test::describeEvents(receiver->next()), ElementsAre("2 cam1 class 0"));
}

TEST_F(EventEmitterTest, AStatusChangeThatCameBeforeTheStartWaitsForItsTurn) {
    EventEmitter emitter(hours(1));
    emitter.pushEvent(tree("status"), nullptr, /*notify=*/false);
    start(emitter);
    EXPECT_FALSE(receiver->hasMore(aMoment));
    emitter.stopThread();
    EXPECT_EQ(receiver->next().device_tree().name(), "status");
}

TEST_F(EventEmitterTest, AStatusChangeDoesNotHoldAnAddedDeviceBack) {
    EventEmitter emitter(hours(1));
    pushAdded(emitter, "cam1");
    emitter.pushEvent(tree("status"), nullptr, /*notify=*/false);
    start(emitter);
    const auto batch = receiver->next();
    EXPECT_THAT(test::describeEvents(batch), ElementsAre("2 cam1 class 0"));
    EXPECT_EQ(batch.device_tree().name(), "status");
}

TEST_F(EventEmitterTest, SendsTheSnapshotAlsoWhenTheTreeChangesLater) {
    EventEmitter emitter(milliseconds(50));
    auto root = tree("System");
    emitter.pushEvent(root, nullptr, /*notify=*/false);
    std::string error;
    ASSERT_TRUE(root.addSubDevice(std::make_shared<DeviceNode>(tree("late")), true, error));
    start(emitter);
    EXPECT_EQ(receiver->next().device_tree().sub_devices_size(), 0);
}

TEST_F(EventEmitterTest, LosesAndRepeatsNoEventAndKeepsTheirOrderWhileItIsSending) {
    constexpr int count = 2000;
    EventEmitter emitter(hours(1));
    start(emitter);
    const std::jthread pushing([&emitter] {
        for (int i = 0; i < count; ++i) {
            pushAdded(emitter, std::to_string(i));
        }
    });
    int expected = 0;
    while (expected < count) {
        const auto batch = receiver->next();
        ASSERT_GT(batch.events_size(), 0);
        for (const auto& event : batch.events()) {
            ASSERT_EQ(test::describe(event), "2 " + std::to_string(expected++) + " class 0");
        }
        EXPECT_EQ(batch.device_tree().name(), std::to_string(expected - 1));
    }
}

TEST_F(EventEmitterTest, LogsAnUnreachableEndpointOnceAndEnds) {
    EventEmitter emitter(milliseconds(1));
    emitter.startThread(socket::SocketEndpoint::FromString(test::uniqueEndpoint()));
    ASSERT_TRUE(
        log.waitFor("ERROR Internal Event Emitter > Failed creating event emitter socket: "));
    pushAdded(emitter, "cam1");
    emitter.stopThread();
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(EventEmitterTest, NeverSendsAgainWhatItFailedToSend) {
    EventEmitter emitter(hours(1));
    start(emitter);
    int pushed = std::stoi(pushUntilLost(emitter)) + 1;
    receiver.emplace(endpoint);
    const int afterwards = pushed;
    std::vector<int> received;
    while (received.empty() || received.back() < afterwards) {
        pushAdded(emitter, std::to_string(pushed++));
        const auto batch = receiver->next();
        for (const auto& event : batch.events()) {
            received.push_back(
                std::stoi(event.GetExtension(ServiceEventDeviceAdded::base).device_id()));
        }
    }
    const std::set<int> unique(received.begin(), received.end());
    EXPECT_EQ(unique.size(), received.size());
    EXPECT_LT(received.size(), static_cast<std::size_t>(pushed));
}

TEST_F(EventEmitterTest, TheTreeOfALostBatchGoesOutAgainOnceThereIsRoom) {
    EventEmitter emitter(hours(1));
    start(emitter);
    const auto last = pushUntilLost(emitter);
    ASSERT_TRUE(awaitLosses(losses() + 1));  // what was pushed last is lost now, too
    receiver.emplace(endpoint);
    // Nothing happens any more, and the period is long.
    auto batch = receiver->next();
    while (batch.device_tree().name() != last) {
        batch = receiver->next();
    }
    EXPECT_THAT(batch.events(), IsEmpty());
}

TEST_F(EventEmitterTest, ALostBatchIsMissingAmongTheNumbers) {
    EventEmitter emitter(hours(1));
    start(emitter);
    const auto last = pushUntilLost(emitter);
    receiver.emplace(endpoint);
    auto before = receiver->next();
    std::uint64_t missing = 0;
    while (before.device_tree().name() != last) {
        const auto batch = receiver->next();
        EXPECT_EQ(batch.service_instance(), before.service_instance());
        missing += batch.service_sequence() - before.service_sequence() - 1;
        before = batch;
    }
    EXPECT_EQ(missing, losses());
}

TEST_F(EventEmitterTest, NumbersItsBatchesFromOneAndIsAnotherOneEachTime) {
    std::string last;
    for (int run = 0; run < 2; ++run) {
        EventEmitter emitter(milliseconds(1));
        start(emitter);
        auto batch = receiver->next();
        while (batch.service_sequence() > 4) {  // still on its way from the first emitter
            batch = receiver->next();
        }
        EXPECT_NE(batch.service_instance(), last);
        last = batch.service_instance();
        for (std::uint64_t number = 1; number < 5; ++number) {
            EXPECT_EQ(batch.service_sequence(), number);
            EXPECT_EQ(batch.service_instance(), last);
            batch = receiver->next();
        }
    }
}

TEST_F(EventEmitterTest, GivesTheMessageOfATree) {
    EventEmitter emitter;
    for (const auto* name : {"one", "other"}) {
        emitter.withMessageOf(tree(name), [&](std::string_view bytes) {
            EXPECT_EQ(bytes, tree(name).toProtoBuf().SerializeAsString());
        });
    }
}

TEST_F(EventEmitterTest, IsNotStartedASecondTime) {
    EventEmitter emitter(hours(1));
    start(emitter);
    const test::BatchReceiver other;
    emitter.startThread(socket::SocketEndpoint::FromString(other.endpoint()));
    pushAdded(emitter, "cam1");
    EXPECT_THAT(test::describeEvents(receiver->next()), ElementsAre("2 cam1 class 0"));
    emitter.stopThread();
    emitter.startThread(socket::SocketEndpoint::FromString(other.endpoint()));
    pushAdded(emitter, "cam2");
    EXPECT_FALSE(receiver->hasMore() && receiver->next().events_size() > 0);
}

TEST_F(EventEmitterTest, StopsAtOnceWhateverItsPeriod) {
    EventEmitter emitter(hours(1));
    start(emitter);
    pushAdded(emitter, "cam1");
    receiver->next();
    const auto begin = steady_clock::now();
    emitter.stopThread();
    emitter.stopThread();
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(EventEmitterTest, NeedsNoThreadToBeStopped) {
    EventEmitter emitter;
    emitter.stopThread();
    pushAdded(emitter, "cam1");
    EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace tarn::service
