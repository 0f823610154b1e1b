#include "tests/service/devices/support/DeltacastBed.h"

namespace tarn::service::devices {

using device_tree::GlobalStatus;
using std::chrono::milliseconds;
using tarn::proto::monitoring::DeviceToTarnServiceEvent;
using test::command720;
using test::defaultCommand;
using test::FakeProcesses;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// An ingest service whose processes are 4711, which was there first, and then one after the other.
class DeltacastRestartingTest : public test::DeltacastBed {
  protected:
    /// Each launch brings the next process to life.
    void comeUp() {
        bed.onCommand([this](const std::string&) { beNext(); });
    }
    void beNext() {
        device.describeAs(test::ingestNode(std::to_string(++process)));
        device.die();
        device.begin();
    }
    /// Nothing that is launched comes up.
    void stayDown() {
        bed.onCommand([](const std::string&) {});
    }

    /// It runs as it was launched with `configure` by the controller.
    void launch() {
        watch();
        comeUp();
        controller->configure(test::progressive720());
        next();
        ASSERT_THAT(bed.commands(), SizeIs(1));
        ASSERT_EQ(controller->getStatus(), Status::Running);
    }

    void killProcess() {
        device.die();
        processes.become(process, FakeProcesses::State::Gone);
    }

    /// The process is killed, and the cycle in which that is noticed is over.
    milliseconds killAndNotice() {
        killProcess();
        return next();
    }

    /// Lets pauses pass until something was launched `count` times in all; how long that took.
    milliseconds passUntilLaunched(std::size_t count) {
        const auto begin = time.load();
        for (int pauses = 0; bed.commands().size() < count && pauses < 40; ++pauses) {
            pass();
        }
        EXPECT_THAT(bed.commands(), SizeIs(count));
        return time.load() - begin;
    }

    bool saysItStartsAgainIn(int ms) const {
        return log.has(line(
            "INFO", "KLN-SDI-Ingest-Service is started again in " + std::to_string(ms) + " ms"));
    }

    pid_t process = 4711;
};

TEST_F(DeltacastRestartingTest, OneThatWasLaunchedHereIsStartedAgainAfterHalfASecond) {
    launch();
    EXPECT_EQ(killAndNotice(), milliseconds(500));
    EXPECT_TRUE(saysItStartsAgainIn(500));
    EXPECT_THAT(bed.commands(), SizeIs(1));
    pass();
    EXPECT_EQ(pass(), milliseconds(500));
    EXPECT_THAT(bed.commands(), ElementsAre(command720, command720));
    EXPECT_EQ(controller->getStatus(), Status::Running);
    EXPECT_EQ(controller->getDeltacastServicePid(), process);
    EXPECT_TRUE(controller->getOutage().empty());
}

TEST_F(DeltacastRestartingTest, TheDefaultFormatIsStartedAgainAndStillNotKept) {
    watch();
    comeUp();
    controller->applyDefaultConfiguration();
    next();
    killAndNotice();
    passUntilLaunched(2);
    EXPECT_THAT(bed.commands(), ElementsAre(defaultCommand, defaultCommand));
    EXPECT_FALSE(log.contains("Writing configuration"));
}

TEST_F(DeltacastRestartingTest, OneThatKeepsDyingWaitsTwiceAsLongEachTime) {
    launch();
    std::size_t launches = 1;
    for (const int expected : {500, 1000, 2000, 4000}) {
        killAndNotice();
        EXPECT_TRUE(saysItStartsAgainIn(expected)) << expected;
        const auto took = passUntilLaunched(++launches);
        EXPECT_GE(took, milliseconds(expected));
        EXPECT_LE(took, milliseconds(expected + 500));
    }
}

TEST_F(DeltacastRestartingTest, AGoodRunBringsTheWaitBack) {
    launch();
    killAndNotice();
    passUntilLaunched(2);
    time = time.load() + std::chrono::seconds(30);
    log.lines();
    killAndNotice();
    EXPECT_TRUE(saysItStartsAgainIn(500));
    EXPECT_FALSE(saysItStartsAgainIn(1000));
    EXPECT_LE(passUntilLaunched(3), milliseconds(1000));
}

TEST_F(DeltacastRestartingTest, OneThatDoesNotComeUpIsTriedAgainLater) {
    launch();
    stayDown();
    killAndNotice();
    passUntilLaunched(2);
    comeUp();
    passUntilLaunched(3);
    EXPECT_TRUE(saysItStartsAgainIn(1000));
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(DeltacastRestartingTest, OneThatSomebodyElseLaunchedIsLeftToHim) {
    watchLiving();
    killAndNotice();
    EXPECT_EQ(count("INFO", "KLN-SDI-Ingest-Service with pid 4711 has ended"), 1);
    for (int pauses = 0; pauses < 10; ++pauses) {
        pass();
    }
    EXPECT_THAT(bed.commands(), IsEmpty());
    EXPECT_FALSE(log.contains("is started again"));
}

TEST_F(DeltacastRestartingTest, OneThatSomebodyElsePutInThePlaceOfOursIsLeftToHim) {
    launch();
    killAndNotice();
    beNext();  // by hand, before ours is due
    pass();
    pass();
    EXPECT_EQ(controller->getDeltacastServicePid(), process);
    killAndNotice();
    for (int pauses = 0; pauses < 10; ++pauses) {
        pass();
    }
    EXPECT_THAT(bed.commands(), SizeIs(1));
}

TEST_F(DeltacastRestartingTest, AnOrderMeanwhileTakesThePlaceOfTheRestart) {
    launch();
    killAndNotice();
    controller->applyDefaultConfiguration();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720, defaultCommand));
    for (int pauses = 0; pauses < 10; ++pauses) {
        pass();
    }
    EXPECT_THAT(bed.commands(), SizeIs(2));
}

TEST_F(DeltacastRestartingTest, AnOrderThatDoesNotComeUpIsNotFollowedByTheRestart) {
    launch();
    killAndNotice();
    stayDown();
    controller->applyDefaultConfiguration();
    for (int pauses = 0; pauses < 20; ++pauses) {
        pass();
    }
    EXPECT_THAT(bed.commands(), ElementsAre(command720, defaultCommand));
}

TEST_F(DeltacastRestartingTest, OneThatIsToldToStopForANewFormatIsStartedOnce) {
    launch();
    processes.onLook([this](int) {
        if (device.lastRequest().type() == control) {
            processes.become(process, FakeProcesses::State::Gone);
        }
    });
    controller->applyDefaultConfiguration();
    for (int pauses = 0; pauses < 10; ++pauses) {
        pass();
    }
    EXPECT_THAT(bed.commands(), ElementsAre(command720, defaultCommand));
    EXPECT_FALSE(log.contains("is started again"));
}

TEST_F(DeltacastRestartingTest, AServiceThatStopsStartsNothing) {
    launch();
    killAndNotice();
    controller->stop();
    EXPECT_THAT(bed.commands(), SizeIs(1));
}

TEST_F(DeltacastRestartingTest, OneThatAServiceBeforeLaunchedIsStartedAgainAsAtTheStart) {
    launchRecord = (folder.path() / "launched").string();
    folder.write("launched", "launched 4711 1\n");
    folder.write("format", test::progressive720().SerializeAsString());
    watchLiving();
    comeUp();
    killAndNotice();
    passUntilLaunched(1);
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

TEST_F(DeltacastRestartingTest, WithoutAFileThatIsTheDefaultFormat) {
    launchRecord = (folder.path() / "launched").string();
    folder.write("launched", "launched 4711 1\n");
    watchLiving();
    comeUp();
    killAndNotice();
    passUntilLaunched(1);
    EXPECT_THAT(bed.commands(), ElementsAre(defaultCommand));
}

}  // namespace tarn::service::devices
