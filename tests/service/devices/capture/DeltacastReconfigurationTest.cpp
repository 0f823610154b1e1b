#include "platform/resource_manager/DeltacastConfiguration.h"
#include "tests/service/devices/support/DeltacastBed.h"

namespace tarn::service::devices {

using std::chrono::milliseconds;
using tarn::proto::monitoring::ControlRequest;
using test::command720;
using test::defaultCommand;
using test::DeltacastConfig;
using test::FakeDevice;
using test::FakeProcesses;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class DeltacastReconfigurationTest : public test::DeltacastBed {
  protected:
    using DeltacastBed::DeltacastBed;

    /// The process obeys the stop command, and the shell brings the next one to life.
    void behave() {
        processes.onLook([this](int) {
            if (device.lastRequest().type() == control) {
                processes.become(4711, FakeProcesses::State::Gone);
            }
        });
        bed.onCommand([this](const std::string&) { device.describeAs(test::ingestNode("4712")); });
    }

    bool isStored(resource_manager::DeltacastConfiguration& stored) {
        std::string error;
        return bed.proxy.getDeltacastConfiguration(stored, error);
    }

    static DeltacastConfig other() { return test::progressive720At60(); }
};

class WithoutPersistentFileTest : public DeltacastReconfigurationTest {
  protected:
    WithoutPersistentFileTest() : DeltacastReconfigurationTest(Persistence::None) {}
};

class WithoutServiceConfigurationTest : public DeltacastReconfigurationTest {
  protected:
    WithoutServiceConfigurationTest()
        : DeltacastReconfigurationTest(Persistence::File, Services::None) {}
};

class WithAnInputListThatHoldsItsPlaceholderTest : public DeltacastReconfigurationTest {
  protected:
    WithAnInputListThatHoldsItsPlaceholderTest()
        : DeltacastReconfigurationTest(Persistence::File, Services::OneThatCannotBeFilled) {}
};

TEST_F(DeltacastReconfigurationTest, RestartsTheServiceWithTheFormatInTheNextCycle) {
    watchLiving();
    behave();
    controller->configure(test::progressive720());
    EXPECT_THAT(bed.commands(), IsEmpty());
    EXPECT_EQ(next(), cycle);
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
    EXPECT_EQ(controller->getStatus(), Status::Running);
    EXPECT_EQ(controller->getDeltacastServicePid(), 4712);
    EXPECT_THAT(linesFrom("KLN-SDI-Ingest-Service not running any more."),
                ElementsAre("KLN-SDI-Ingest-Service not running any more.",
                            "Changing status from Running to Unreachable",
                            std::string("Starting Deltacast service: ") + command720,
                            "Changing status from Unreachable to Starting",
                            "Writing configuration to " + file, StartsWith("Configuration to save"),
                            "Save OK", "Waiting at most 10 seconds for Service to start...",
                            "Changing status from Starting to Running", "Service reconfigured!",
                            "Capture format 720p50 rgb24, inputs 1 2, frame offsets 0 -1 is "
                            "confirmed: it runs"));
}

TEST_F(DeltacastReconfigurationTest, TellsTheServiceToStopFirst) {
    watchLiving();
    bed.onCommand([this](const std::string&) {
        const auto request = device.lastRequest();
        EXPECT_EQ(request.type(), control);
        EXPECT_EQ(request.GetExtension(ControlRequest::base).command(), ControlRequest::STOP);
    });
    processes.become(4711, FakeProcesses::State::Gone);
    controller->configure(test::progressive720());
    next();
    EXPECT_THAT(bed.commands(), SizeIs(1));
}

TEST_F(DeltacastReconfigurationTest, KeepsTheFormatAndTellsTheResourceManager) {
    watchLiving();
    behave();
    controller->configure(test::progressive720());
    next();
    EXPECT_EQ(test::readFile(file), test::progressive720().SerializeAsString());
    resource_manager::DeltacastConfiguration stored;
    ASSERT_TRUE(isStored(stored));
    EXPECT_EQ(stored,
              resource_manager::DeltacastConfiguration("rgb24", "1 2 ", "0 -1 ", 720, "p", 50));
}

TEST_F(DeltacastReconfigurationTest, SaysThatTheResourceManagerWasNotTold) {
    watchLiving();
    behave();
    std::string error;
    bed.proxy.disconnect(error);
    controller->configure(test::progressive720());
    next();
    EXPECT_TRUE(log.has(line("ERROR", "Error when storing deltacast configuration")));
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

TEST_F(DeltacastReconfigurationTest, TheDefaultFormatIsNeitherKeptNorToldOf) {
    watchLiving();
    behave();
    EXPECT_TRUE(controller->applyDefaultConfiguration());
    next();
    EXPECT_TRUE(log.has(line("INFO", "Restoring default configuration")));
    EXPECT_THAT(bed.commands(), ElementsAre(defaultCommand));
    EXPECT_FALSE(log.contains("Writing configuration"));
    resource_manager::DeltacastConfiguration stored;
    isStored(stored);
    EXPECT_EQ(stored, resource_manager::DeltacastConfiguration());
}

TEST_F(DeltacastReconfigurationTest, OfTwoFormatsInACycleOnlyTheSecondIsApplied) {
    watchLiving();
    behave();
    controller->configure(other());
    controller->configure(test::progressive720());
    next();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
    EXPECT_TRUE(log.contains(line("INFO", "Pushing new configuration: pixel_format: RGB24")));
}

TEST_F(DeltacastReconfigurationTest, TheDefaultFormatCancelsOneThatWaits) {
    watchLiving();
    behave();
    controller->configure(test::progressive720());
    controller->applyDefaultConfiguration();
    next();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(defaultCommand));
}

TEST_F(DeltacastReconfigurationTest, AFormatAfterTheDefaultOneIsWhatIsApplied) {
    watchLiving();
    behave();
    controller->applyDefaultConfiguration();
    controller->configure(test::progressive720());
    next();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

TEST_F(DeltacastReconfigurationTest, AFormatWithoutContentIsStartedAndNotKept) {
    watchLiving();
    behave();
    controller->configure(DeltacastConfig());
    next();
    EXPECT_THAT(bed.commands(), ElementsAre("ingest uyvy422_8 '' '' 1080 i 60 &"));
    EXPECT_FALSE(log.contains("Writing configuration"));
}

TEST_F(DeltacastReconfigurationTest, AProcessThatIgnoresTheStopCommandIsKilled) {
    watchLiving();
    controller->configure(test::progressive720());
    for (int look = 0; look < 5; ++look) {
        EXPECT_EQ(next(), second);
    }
    EXPECT_EQ(processes.kills(), 0);
    EXPECT_EQ(next(), second);
    EXPECT_EQ(processes.kills(), 1);
    EXPECT_EQ(next(), cycle);
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

TEST_F(DeltacastReconfigurationTest, WithoutAProcessIdItIsOnlyToldToStop) {
    device.describeAs(test::ingestNode("none"));
    watchLiving();
    bed.onCommand([this](const std::string&) {
        EXPECT_EQ(device.lastRequest().type(), control);
        EXPECT_EQ(controller->getStatus(), Status::Unreachable);
    });
    controller->configure(test::progressive720());
    EXPECT_EQ(next(), cycle);
    EXPECT_EQ(processes.kills(), 0);
    EXPECT_EQ(processes.looksAtTheEndpoint(), 0);
    EXPECT_FALSE(log.contains("still running"));
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

TEST_F(DeltacastReconfigurationTest, AProcessThatCannotBeShownToAnswerIsToldToStopAndWaitedFor) {
    processes.isSeenByNobody(4711);
    watchLiving();
    bed.onCommand([this](const std::string&) {
        EXPECT_EQ(device.lastRequest().type(), control);
        EXPECT_EQ(processes.looksAtTheEndpoint(), 3);
    });
    processes.isListenedToForLooks(2);
    controller->configure(test::progressive720());
    EXPECT_EQ(next(), milliseconds(100));
    EXPECT_EQ(next(), milliseconds(100));
    EXPECT_EQ(next(), cycle);
    EXPECT_EQ(processes.kills(), 0);
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

TEST_F(DeltacastReconfigurationTest, AProcessIsLookedAtAgainWhileItStillHoldsTheEndpoint) {
    processes.isSeenByNobody(4711);
    watchLiving();
    processes.holdsEverything(4711);
    controller->configure(test::progressive720());
    for (int look = 0; look < 7; ++look) {
        next();
    }
    EXPECT_EQ(processes.kills(), 1);
}

TEST_F(DeltacastReconfigurationTest, AServiceThatDoesNotTakeTheStopCommandIsDealtWithAllTheSame) {
    watchLiving();
    device.answerWith(FakeDevice::Answer::WrongType);
    processes.become(4711, FakeProcesses::State::Gone);
    controller->configure(test::progressive720());
    next();
    EXPECT_TRUE(log.has(line("ERROR", "Error string received: " + controller->messageHeader() +
                                          " > Failed sending stop: unexpected reply type")));
    EXPECT_THAT(bed.commands(), SizeIs(1));
}

TEST_F(DeltacastReconfigurationTest, AStopCommandThatWasNotTakenDoesNotReachTheNextProcess) {
    answerWithin = std::chrono::seconds(1);
    watchLiving();
    device.die();
    const auto before = device.waitForRequests(0).size();
    bed.onCommand([this](const std::string&) { device.begin(); });
    controller->configure(test::progressive720());
    processes.onLook([this](int) { processes.become(4711, FakeProcesses::State::Gone); });
    next();
    const auto requests = device.waitForRequests(before + 1);
    EXPECT_THAT(std::vector(requests.begin() + static_cast<long>(before), requests.end()),
                testing::Each(description));
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(DeltacastReconfigurationTest, AServiceThatDoesNotStartIsAskedTenTimesASecondApart) {
    watch();
    controller->configure(test::progressive720());
    for (int attempt = 0; attempt < 10; ++attempt) {
        EXPECT_EQ(next(), second);
    }
    EXPECT_FALSE(log.contains("... Failed"));
    EXPECT_EQ(next(), cycle);
    EXPECT_TRUE(log.has(line("ERROR", "... Failed")));
    EXPECT_EQ(controller->getStatus(), Status::Unreachable);
}

TEST_F(DeltacastReconfigurationTest, AServiceThatStartsSlowlyIsTakenWhenItAnswers) {
    watch();
    controller->applyDefaultConfiguration();
    for (int attempt = 0; attempt < 4; ++attempt) {
        EXPECT_EQ(next(), second);
    }
    device.begin();
    EXPECT_EQ(next(), cycle);
    EXPECT_TRUE(log.has(line("INFO", "Service reconfigured!")));
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(DeltacastReconfigurationTest, AServiceThatStartsTooSlowlyIsTakenLater) {
    watch();
    controller->applyDefaultConfiguration();
    for (int attempt = 0; attempt < 10; ++attempt) {
        next();
    }
    next();
    device.begin();
    next();
    next();
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(DeltacastReconfigurationTest, ANewProcessThatNamesAnEventEndpointIsPinged) {
    watchLiving();
    behave();
    device.nameEventEndpoint("ipc:///tmp/ingest-events");
    controller->configure(test::progressive720());
    next();
    const auto count = device.waitForRequests(0).size();
    next();
    EXPECT_EQ(device.waitForRequests(count + 1).back(), ping);
}

TEST_F(DeltacastReconfigurationTest, APingedServiceIsDescribedAgainAfterItsRestart) {
    device.nameEventEndpoint("ipc:///tmp/ingest-events");
    watchLiving();
    behave();
    controller->configure(test::progressive720());
    next();
    EXPECT_EQ(controller->getDeltacastServicePid(), 4712);
}

TEST_F(DeltacastReconfigurationTest, AShellThatFailsIsSaidSoAndNothingIsStuck) {
    watchLiving();
    behave();
    processes.isListenedToForLooks(0);
    bed.onCommand([](const std::string&) { throw std::runtime_error("no shell"); });
    controller->configure(test::progressive720());
    next();
    EXPECT_TRUE(log.has(line("ERROR", "Failed starting Deltacast service: no shell")));
    bed.onCommand([](const std::string&) {});
    controller->applyDefaultConfiguration();
    next();
    EXPECT_THAT(bed.commands(), SizeIs(2));
}

TEST_F(DeltacastReconfigurationTest, AFormatOfTheFileIsApplied) {
    folder.write("format", test::progressive720().SerializeAsString());
    watchLiving();
    behave();
    EXPECT_TRUE(controller->applyConfigurationFile(file));
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

TEST_F(DeltacastReconfigurationTest, NothingOfAFileIsAppliedThatIsRefused) {
    folder.write("format", "");
    watchLiving();
    EXPECT_FALSE(controller->applyConfigurationFile(file));
    EXPECT_FALSE(controller->applyConfigurationFile("/no/such/file"));
    next();
    EXPECT_THAT(bed.commands(), IsEmpty());
}

TEST_F(DeltacastReconfigurationTest, StopsAtOnceWhileItWaitsForTheEndOfTheProcess) {
    watchLiving();
    controller->configure(test::progressive720());
    EXPECT_EQ(next(), second);
    controller->stop();
    EXPECT_THAT(bed.commands(), IsEmpty()) << "nothing is launched any more";
    EXPECT_EQ(processes.kills(), 0);
}

TEST_F(DeltacastReconfigurationTest, StopsAtOnceWhileItWaitsForTheStart) {
    watch();
    controller->configure(test::progressive720());
    EXPECT_EQ(next(), second);
    controller->stop();
    EXPECT_FALSE(log.contains("... Failed"));
}

TEST_F(WithoutPersistentFileTest, TheServiceIsRestartedAllTheSame) {
    watchLiving();
    behave();
    controller->configure(test::progressive720());
    next();
    EXPECT_TRUE(log.has(line("ERROR", "Cannot save configuration: no path specified.")));
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

TEST_F(WithoutServiceConfigurationTest, NothingIsRestarted) {
    watchLiving();
    controller->configure(test::progressive720());
    EXPECT_EQ(next(), cycle);
    EXPECT_TRUE(log.has(line("ERROR", "Could not find Deltacast service config")));
    EXPECT_EQ(controller->getStatus(), Status::Running);
    EXPECT_THAT(bed.commands(), IsEmpty());
}

// No configuration file leads to that.
TEST_F(DeltacastReconfigurationTest, AServiceConfigurationThatIsNoneIsSaidSoAndTheServiceGoesOn) {
    watchLiving();
    using Services = std::remove_cvref_t<decltype(bed.configuration.getDeltacastServices())>;
    const_cast<Services&>(bed.configuration.getDeltacastServices()).front() = nullptr;
    controller->configure(test::progressive720());
    EXPECT_EQ(next(), cycle);
    EXPECT_TRUE(log.has(line("ERROR", "Invalid Deltacast service config")));
    EXPECT_EQ(controller->getStatus(), Status::Running);
    EXPECT_NE(device.lastRequest().type(), control);
    EXPECT_THAT(bed.commands(), IsEmpty());
}

TEST_F(WithAnInputListThatHoldsItsPlaceholderTest, TheDefaultFormatIsRefusedAndTheServiceGoesOn) {
    watchLiving();
    behave();
    controller->applyDefaultConfiguration();
    EXPECT_EQ(next(), cycle);
    EXPECT_TRUE(log.contains(
        "the value \"0 %board0-input-list\" holds its own placeholder %board0-input-list"));
    EXPECT_EQ(controller->getStatus(), Status::Running);
    EXPECT_THAT(bed.commands(), IsEmpty());
}

TEST_F(WithAnInputListThatHoldsItsPlaceholderTest, AnotherFormatIsApplied) {
    watchLiving();
    behave();
    controller->configure(test::progressive720());
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
}

}  // namespace tarn::service::devices
