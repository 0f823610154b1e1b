#include <atomic>
#include <filesystem>

#include "platform/utils/MessageFormatter.h"
#include "proto/capture_format_record.pb.h"
#include "service/devices/capture/CaptureFormatRecordFile.h"
#include "service/devices/capture/DeltacastConfigurationFile.h"
#include "tests/service/devices/support/DeltacastBed.h"

// A capture format that does not come up, or is interrupted by the end of the service.
namespace tarn::service::devices {

using test::command720;
using test::defaultCommand;
using test::DeltacastConfig;
using testing::ElementsAre;
using testing::IsEmpty;

class DeltacastTransactionTest : public test::DeltacastBed {
  protected:
    static constexpr auto commandOther = "ingest rgb24 '1 2 ' '0 -1 ' 720 p 60 &";
    static constexpr auto givesWayTo720 =
        "Capture format 720p60 rgb24, inputs 1 2, frame offsets 0 -1 did not come up, and has "
        "never been seen running: it gives way to the last one that has, 720p50 rgb24, inputs 1 2, "
        "frame offsets 0 -1";

    const utils::MessageFormatter formatter{"test"};
    std::atomic<int> id{4711};

    DeltacastTransactionTest() {
        processes.onLook([this](int) {
            if (device.lastRequest().type() == control) {
                processes.become(id, test::FakeProcesses::State::Gone);
            }
        });
    }

    /// The ingest service takes the commands that hold this, and ends at once with any other.
    void take(const std::string& part) {
        bed.onCommand([this, part](const std::string& command) {
            end();
            if (command.find(part) != std::string::npos) {
                device.describeAs(test::ingestNode(std::to_string(++id)));
                device.begin();
            }
        });
    }

    /// The ingest service ends.
    void end() {
        device.die();
        processes.become(id, test::FakeProcesses::State::Gone);
    }

    /// 720p50 was seen running, and 720p60 was launched last.
    void leaveUnconfirmed() {
        watchLiving();
        take("720 p 50");
        controller->configure(test::progressive720());
        next();
        controller.reset();
        DeltacastConfigurationFile(file, formatter).save(test::progressive720At60());
        end();
    }

    void passAttempts() {
        for (int attempt = 0; attempt < 10; ++attempt) {
            EXPECT_EQ(next(), second);
        }
        EXPECT_EQ(next(), cycle);
    }

    /// The next service.
    void restart() {
        controller.reset();
        watch();
    }

    CaptureFormatRecordFile::Record record() const {
        return CaptureFormatRecordFile(file, formatter).load();
    }

    DeltacastConfig kept() const {
        return DeltacastConfigurationFile(file, formatter).peek().value();
    }
};

TEST_F(DeltacastTransactionTest, AFormatThatRunsIsConfirmed) {
    watchLiving();
    take("720 p 50");
    controller->configure(test::progressive720());
    next();
    EXPECT_EQ(record().confirmed().SerializeAsString(), test::progressive720().SerializeAsString());
    EXPECT_FALSE(record().has_wanted());
}

TEST_F(DeltacastTransactionTest, AnAnswerInAnotherFormatConfirmsNothing) {
    watchLiving();
    take("720 p 60");  // and goes on describing 720p50
    controller->configure(test::progressive720At60());
    next();
    EXPECT_TRUE(log.has(line("INFO", "Service reconfigured!")));
    EXPECT_FALSE(record().has_confirmed());
}

TEST_F(DeltacastTransactionTest, IsWantedBeforeTheServiceIsToldToStopAndKeptAfterTheLaunch) {
    watchLiving();
    bed.onCommand([this](const std::string&) {
        EXPECT_EQ(device.lastRequest().type(), control);
        EXPECT_EQ(record().wanted().SerializeAsString(),
                  test::progressive720().SerializeAsString());
        EXPECT_FALSE(std::filesystem::exists(file));
    });
    controller->configure(test::progressive720());
    next();
    EXPECT_EQ(kept().SerializeAsString(), test::progressive720().SerializeAsString());
}

TEST_F(DeltacastTransactionTest, AfterAStartAFormatThatWasNeverSeenGivesWayToTheLastOneThatWas) {
    leaveUnconfirmed();
    watch();
    take("720 p 50");
    EXPECT_TRUE(controller->applyConfigurationFile(file));
    passAttempts();
    EXPECT_TRUE(log.has(line("ERROR", "... Failed")));
    EXPECT_TRUE(log.has(line("ERROR", givesWayTo720)));
    EXPECT_EQ(next(), cycle);
    EXPECT_THAT(bed.commands(), ElementsAre(command720, commandOther, command720));
    EXPECT_EQ(controller->getStatus(), Status::Running);
    EXPECT_EQ(kept().SerializeAsString(), test::progressive720().SerializeAsString());
}

TEST_F(DeltacastTransactionTest, AndThatOneToTheDefaultOne) {
    leaveUnconfirmed();
    watch();
    take("1080 i 25");
    controller->applyConfigurationFile(file);
    passAttempts();
    passAttempts();
    EXPECT_TRUE(log.contains(line("ERROR",
                                  "Capture format 720p50 rgb24, inputs 1 2, frame offsets 0 -1 "
                                  "did not come up either: it gives way to the default one")));
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720, commandOther, command720, defaultCommand));
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(DeltacastTransactionTest, WithADamagedRecordItGivesWayToTheDefaultOne) {
    leaveUnconfirmed();
    folder.write("format.record", "nonsense");
    watch();
    take("1080 i 25");
    controller->applyConfigurationFile(file);
    passAttempts();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720, commandOther, defaultCommand));
}

TEST_F(DeltacastTransactionTest, AFormatThatWasSeenBeforeIsNotReplaced) {
    leaveUnconfirmed();
    DeltacastConfigurationFile(file, formatter).save(test::progressive720());
    watch();
    take("nothing");
    controller->applyConfigurationFile(file);
    passAttempts();
    next();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720, command720));
}

TEST_F(DeltacastTransactionTest, AnOrderThatIsRefusedGivesWayAlsoLater) {
    watchLiving();
    take("720 p 50");
    controller->configure(test::progressive720());
    next();
    controller->configure(test::progressive720At60());
    passAttempts();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720, commandOther, command720));
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(DeltacastTransactionTest, WhatAClientOrdersMeanwhileCounts) {
    watchLiving();
    take("720 p 50");
    controller->configure(test::progressive720());
    next();
    controller->configure(test::progressive720At60());
    EXPECT_EQ(next(), second);
    controller->applyDefaultConfiguration();
    while (next() == second) {
    }
    EXPECT_FALSE(log.contains("gives way"));
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720, commandOther, defaultCommand));
}

TEST_F(DeltacastTransactionTest, AStopBetweenTheOldProcessAndTheNewOneKeepsTheOrder) {
    processes.onLook([](int) {});  // it takes its time to end
    watchLiving();
    controller->configure(test::progressive720());
    EXPECT_EQ(next(), second);
    controller->stop();
    EXPECT_THAT(bed.commands(), IsEmpty());
    end();
    take("720 p 50");
    restart();
    EXPECT_TRUE(controller->applyConfigurationFile(file));
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
    EXPECT_EQ(controller->getStatus(), Status::Running);
}

TEST_F(DeltacastTransactionTest, AnOrderThatTheStopFoundWaitingIsAppliedToTheProcessThatRunsOn) {
    watchLiving();
    controller->configure(test::progressive720());
    controller->stop();
    EXPECT_TRUE(log.contains("is kept for the next start of this service"));
    EXPECT_THAT(bed.commands(), IsEmpty());
    take("720 p 50");
    restart();
    next();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720));
    EXPECT_EQ(controller->getStatus(), Status::Running);
    next();
    next();
    EXPECT_THAT(bed.commands(), ElementsAre(command720)) << "once";
}

TEST_F(DeltacastTransactionTest, AnOrderThatWasAnsweredAfterTheStopIsKept) {
    watchLiving();
    controller->stop();
    controller->configure(test::progressive720());
    controller.reset();
    EXPECT_EQ(record().wanted().SerializeAsString(), test::progressive720().SerializeAsString());
}

TEST_F(DeltacastTransactionTest, AfterARefusedFormatTheNextOneIsNotHeldUp) {
    watchLiving();
    take("720 p 50");
    controller->configure(test::progressive720At60());
    passAttempts();
    controller->configure(test::progressive720());
    const auto begin = std::chrono::steady_clock::now();
    next();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, answerWithin / 4)
        << "it waits for an answer where nobody listens";
    EXPECT_THAT(bed.commands(), ElementsAre(commandOther, command720));
}

}  // namespace tarn::service::devices
