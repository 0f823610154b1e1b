#include "service/devices/capture/DeltacastServiceProcess.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "platform/utils/MessageFormatter.h"
#include "tests/service/devices/support/FakeProcesses.h"
#include "tests/support/LogCapture.h"

namespace tarn::service::devices {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test::FakeProcesses;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class DeltacastServiceProcessTest : public testing::Test {
  protected:
    static constexpr pid_t id = 4711;
    static constexpr auto stillRunning =
        "INFO c > KLN-SDI-Ingest-Service still running on pid 4711";
    static constexpr auto notRunning = "INFO c > KLN-SDI-Ingest-Service not running any more.";
    static constexpr auto goneAfterKill =
        "INFO c > KLN-SDI-Ingest-Service not running any more after hard kill.";
    static constexpr auto leftAlone =
        "INFO c > Process 4711 is not known to be KLN-SDI-Ingest-Service: it is left alone";
    static constexpr auto hardKill = "WARN c > Hard kill on KLN-SDI-Ingest-Service with pid 4711";

    void learn(pid_t learned = id) { process.learn(learned, endpoint); }
    void end() { process.end(id, stop.get_token()); }

    std::vector<std::string> linesAfterTheFirst() const {
        auto lines = log.lines();
        lines.erase(lines.begin());
        return lines;
    }

    /// From the `number`-th look at it on.
    void becomeAtLook(int number, FakeProcesses::State state) {
        processes.onLook([this, number, state](int look) {
            if (look == number) {
                processes.become(id, state);
            }
        });
    }

    const socket::SocketEndpoint endpoint = socket::SocketEndpoint::FromString("ipc:///tmp/x");
    const test::LogCapture log;
    const utils::MessageFormatter formatter{"c"};
    FakeProcesses processes;
    std::stop_source stop;
    std::vector<std::chrono::milliseconds> pauses;
    DeltacastServiceProcess process{
        formatter, processes, [this](auto duration, const auto&) { pauses.push_back(duration); }};
};

TEST_F(DeltacastServiceProcessTest, IsLookedAtOnceWhenItHasEnded) {
    learn();
    processes.become(id, FakeProcesses::State::Gone);
    end();
    EXPECT_THAT(log.lines(), ElementsAre(notRunning));
    EXPECT_THAT(processes.waits(), IsEmpty());
}

TEST_F(DeltacastServiceProcessTest, IsLookedAtEverySecondUntilItHasEnded) {
    learn();
    becomeAtLook(3, FakeProcesses::State::Gone);
    end();
    EXPECT_THAT(log.lines(), ElementsAre(stillRunning, stillRunning, notRunning));
    EXPECT_THAT(processes.waits(), ElementsAre(seconds(1), seconds(1)));
    EXPECT_EQ(processes.kills(), 0);
}

TEST_F(DeltacastServiceProcessTest, IsKilledAfterFiveLooks) {
    learn();
    end();
    EXPECT_THAT(log.lines(), ElementsAre(stillRunning, stillRunning, stillRunning, stillRunning,
                                         stillRunning, hardKill, stillRunning, goneAfterKill));
    EXPECT_THAT(processes.waits(), testing::AllOf(SizeIs(6), Each(seconds(1))));
    EXPECT_EQ(processes.kills(), 1);
}

TEST_F(DeltacastServiceProcessTest, IsKilledAgainEverySecondUntilItIsGone) {
    processes.resistsKills(7);
    learn();
    end();
    EXPECT_EQ(processes.kills(), 7);
    EXPECT_EQ(log.lines().back(), goneAfterKill);
}

TEST_F(DeltacastServiceProcessTest, HasEndedWhenNobodyReapsIt) {
    learn();
    processes.become(id, FakeProcesses::State::Unreaped);
    end();
    EXPECT_THAT(
        log.lines(),
        ElementsAre("INFO c > Process 4711 has ended; nobody has reaped it yet", notRunning));
}

TEST_F(DeltacastServiceProcessTest, IsNotHuntedForEverWhenNobodyReapsItAfterTheKill) {
    learn();
    becomeAtLook(7, FakeProcesses::State::Unreaped);
    end();
    EXPECT_EQ(processes.kills(), 1);
    EXPECT_EQ(log.lines().back(), goneAfterKill);
}

TEST_F(DeltacastServiceProcessTest, LeavesAStrangerAloneWhoGotTheId) {
    learn();
    processes.become(id, FakeProcesses::State::Another);
    end();
    EXPECT_THAT(log.lines(), ElementsAre("INFO c > Pid 4711 belongs to another process now, which "
                                         "is left alone",
                                         notRunning));
    EXPECT_EQ(processes.kills(), 0);
}

TEST_F(DeltacastServiceProcessTest, LeavesAStrangerAloneWhoGotTheIdBeforeTheKill) {
    learn();
    becomeAtLook(6, FakeProcesses::State::Another);
    end();
    EXPECT_EQ(processes.kills(), 0);
    EXPECT_EQ(log.lines().back(), goneAfterKill);
}

TEST_F(DeltacastServiceProcessTest, LeavesAProcessAloneThatDoesNotHoldTheEndpoint) {
    processes.holdsNothing(id);
    learn();
    EXPECT_TRUE(log.has(
        "WARN c > KLN-SDI-Ingest-Service says that its pid is 4711, but another process answers: "
        "that one will not be killed"));
    processes.isListenedToForLooks(3);
    end();
    EXPECT_EQ(processes.kills(), 0);
    EXPECT_THAT(linesAfterTheFirst(), ElementsAre(leftAlone, notRunning));
    EXPECT_THAT(pauses, testing::AllOf(SizeIs(3), Each(milliseconds(100))));
}

TEST_F(DeltacastServiceProcessTest, LeavesAProcessAloneThatCannotBeShownToHoldTheEndpoint) {
    processes.isSeenByNobody(id);
    learn();
    EXPECT_THAT(log.lines(),
                ElementsAre("WARN c > KLN-SDI-Ingest-Service says that its pid is 4711, "
                            "but it cannot be shown that this process answers: it will "
                            "not be killed"));
    end();
    EXPECT_EQ(processes.kills(), 0);
    EXPECT_THAT(linesAfterTheFirst(),
                ElementsAre(leftAlone,
                            "WARN c > KLN-SDI-Ingest-Service still listens on ipc:///tmp/x "
                            "and is not killed: which process it is cannot be shown"));
    EXPECT_EQ(processes.looksAtTheEndpoint(), 50);
}

TEST_F(DeltacastServiceProcessTest, IsLookedAtAgainBeforeItIsToldToStop) {
    processes.isSeenByNobody(id);
    learn();
    processes.holdsEverything(id);
    process.lookAgain();
    end();
    EXPECT_EQ(processes.kills(), 1);
}

TEST_F(DeltacastServiceProcessTest, IsNotKilledWhenTheIdChangedHandsWhileItWasLookedAt) {
    processes.onHolds([this] { processes.isStartedAnew(id); });
    learn();
    processes.isListenedToForLooks(0);
    end();
    EXPECT_EQ(processes.kills(), 0);
}

TEST_F(DeltacastServiceProcessTest, IsWarnedOfOnceWhoeverTellsTheSameIdAgain) {
    processes.become(id, FakeProcesses::State::Gone);  // an id of another process namespace
    processes.isSeenByNobody(id);
    learn();
    learn();
    EXPECT_THAT(log.lines(), SizeIs(1));
}

TEST_F(DeltacastServiceProcessTest, IsNotWaitedForAtItsEndpointWhenTheServiceStops) {
    processes.isSeenByNobody(id);
    learn();
    stop.request_stop();
    end();
    EXPECT_EQ(processes.looksAtTheEndpoint(), 0);
    EXPECT_EQ(log.lines().back(), leftAlone);
}

TEST_F(DeltacastServiceProcessTest, NeverKillsItsOwnProcess) {
    processes.isListenedToForLooks(0);
    learn(::getpid());
    process.end(::getpid(), stop.get_token());
    EXPECT_EQ(processes.kills(), 0);
}

TEST_F(DeltacastServiceProcessTest, LeavesAnIdAloneThatWasNeverTold) {
    end();
    EXPECT_THAT(log.lines(), SizeIs(1));
    EXPECT_EQ(processes.kills(), 0);
}

TEST_F(DeltacastServiceProcessTest, IsNotWaitedForWhenTheServiceStops) {
    processes.waitWith([this](auto, const auto&) { stop.request_stop(); });
    learn();
    end();
    EXPECT_THAT(log.lines(), ElementsAre(stillRunning));
    EXPECT_EQ(processes.kills(), 0);
}

TEST_F(DeltacastServiceProcessTest, IsNotHuntedAnyLongerWhenTheServiceStops) {
    processes.resistsKills(1000);
    processes.waitWith([this](auto, const auto&) {
        if (processes.kills() == 3) {
            stop.request_stop();
        }
    });
    learn();
    end();
    EXPECT_EQ(processes.kills(), 3);
}

TEST_F(DeltacastServiceProcessTest, HasEndedOnceItDoesNotRun) {
    EXPECT_FALSE(process.hasEnded());
    learn();
    EXPECT_FALSE(process.hasEnded());
    processes.become(id, FakeProcesses::State::Gone);
    EXPECT_TRUE(process.hasEnded());
    EXPECT_THAT(log.lines(),
                ElementsAre("INFO c > KLN-SDI-Ingest-Service with pid 4711 has ended"));
}

TEST_F(DeltacastServiceProcessTest, HasNotEndedWhenItCouldNeverBeSeen) {
    processes.become(id, FakeProcesses::State::Gone);
    learn();
    EXPECT_FALSE(process.hasEnded());
}

TEST_F(DeltacastServiceProcessTest, IsAnotherOneWhenTheSameIdIsToldAfterItsEnd) {
    learn();
    processes.become(id, FakeProcesses::State::Gone);
    processes.holdsNothing(id);
    learn();
    end();
    EXPECT_THAT(log.lines(), testing::Contains(leftAlone));
    EXPECT_EQ(processes.kills(), 0);
}

}  // namespace tarn::service::devices
