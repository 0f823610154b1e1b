#include <functional>
#include <stop_token>
#include <thread>
#include <vector>

#include "tests/service/devices/support/DeltacastBed.h"

// Waiting until the ingest service has started.
namespace tarn::service::devices {

using std::chrono::milliseconds;
using test::FakeDevice;
using testing::ElementsAre;

class DeltacastStartTest : public test::DeltacastBed {};

/// Who waits for the start lets time pass as the controller does. The service does not run at
/// first.
class WithItsOwnPauseTest : public DeltacastStartTest {
  protected:
    void SetUp() override {
        device.begin();
        device.answerWith(FakeDevice::Answer::WrongType);
        auto all = dependencies();
        all.pause = [this, managed = all.pause, test = std::this_thread::get_id()](
                        milliseconds duration, const std::stop_token& stop) {
            if (std::this_thread::get_id() != test) {
                return managed(duration, stop);
            }
            waits.push_back(duration);
            ofWait = stop;
            onWait();
        };
        controller.emplace(device.endpoint(), all);
        pause.await();
    }

    /// It is described first: until then it does not count as running.
    void revive() {
        device.answerWith(FakeDevice::Answer::Good);
        controller->applyDefaultConfiguration();
        next();
    }

    std::function<void()> onWait = [] {};
    std::stop_token ofWait;
    std::vector<milliseconds> waits;
};

TEST_F(DeltacastStartTest, HasStartedWhenTheServiceRuns) {
    watchLiving();
    const auto neverAsked = [](milliseconds) -> bool { throw std::logic_error("it waits"); };
    EXPECT_TRUE(controller->waitForDeviceStarted(10, neverAsked));
}

TEST_F(DeltacastStartTest, HasNotStartedAfterAsManySecondsAsWereGiven) {
    watch();
    std::vector<milliseconds> waits;
    const auto note = [&](milliseconds duration) {
        waits.push_back(duration);
        return false;
    };
    EXPECT_FALSE(controller->waitForDeviceStarted(3, note));
    EXPECT_THAT(waits, ElementsAre(second, second, second));
}

TEST_F(DeltacastStartTest, HasNotStartedWhenTheWaitingIsGivenUp) {
    watch();
    int waits = 0;
    EXPECT_FALSE(controller->waitForDeviceStarted(0, [&](milliseconds) { return ++waits == 50; }));
    EXPECT_EQ(waits, 50) << "0 is no limit";
}

TEST_F(DeltacastStartTest, HasStartedWhenTheServiceRunsWhileItIsWaitedForWithoutLimit) {
    watchLiving();
    device.answerWith(FakeDevice::Answer::WrongType);
    next();
    ASSERT_EQ(controller->getStatus(), Status::Unreachable);
    int waits = 0;
    EXPECT_TRUE(controller->waitForDeviceStarted(0, [&](milliseconds) {
        if (++waits == 30) {
            device.answerWith(FakeDevice::Answer::Good);
            next();
        }
        return waits == 60;
    }));
    EXPECT_EQ(waits, 30);
}

TEST_F(WithItsOwnPauseTest, HasNotStartedAfterAsManySecondsAsWereGiven) {
    EXPECT_FALSE(controller->waitForDeviceStarted(3));
    EXPECT_THAT(waits, ElementsAre(second, second, second));
}

TEST_F(WithItsOwnPauseTest, HasStartedWithoutAWaitWhenTheServiceRuns) {
    revive();
    EXPECT_TRUE(controller->waitForDeviceStarted(3));
    EXPECT_THAT(waits, testing::IsEmpty());
}

TEST_F(WithItsOwnPauseTest, HasStartedWhenTheServiceRunsWhileItIsWaitedFor) {
    onWait = [this] {
        if (waits.size() == 2) {
            revive();
        }
    };
    EXPECT_TRUE(controller->waitForDeviceStarted(0));
    EXPECT_THAT(waits, ElementsAre(second, second));
}

TEST_F(WithItsOwnPauseTest, HasNotStartedWhenItIsStoppedAndItsWaitIsEnded) {
    onWait = [this] {
        EXPECT_FALSE(ofWait.stop_requested());
        controller->stop();
        EXPECT_TRUE(ofWait.stop_requested());
    };
    EXPECT_FALSE(controller->waitForDeviceStarted(0));
    EXPECT_THAT(waits, ElementsAre(second));
}

TEST_F(DeltacastStartTest, HasNotStartedWhenItIsStopped) {
    watch();
    EXPECT_FALSE(controller->waitForDeviceStarted(0, [&](milliseconds) {
        controller->stop();
        return false;
    }));
}

}  // namespace tarn::service::devices
