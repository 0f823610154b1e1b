#include "service/devices/capture/CaptureFormatTransaction.h"

#include <gmock/gmock.h>

#include "platform/utils/MessageFormatter.h"
#include "service/devices/capture/DeltacastConfigurationFile.h"
#include "tests/service/devices/support/CaptureFormats.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::service::devices {

using Slot = DeltacastConfigurationSlot;
using State = CaptureFormatTransaction::State;
using Kept = CaptureFormatTransaction::Kept;
using test::DeltacastConfig;
using testing::ElementsAre;
using testing::IsEmpty;

class CaptureFormatTransactionTest : public testing::Test {
  protected:
    /// As at the start of a service.
    CaptureFormatTransaction begin() const { return {path, formatter}; }

    void launch(CaptureFormatTransaction& transaction, const DeltacastConfig& format) {
        transaction.ordered(format);
        DeltacastConfigurationFile(path, formatter).save(format);
        transaction.launched(format, Kept::Yes);
    }

    /// A service has launched this format and seen it run.
    void confirm(const DeltacastConfig& format) {
        auto transaction = begin();
        launch(transaction, format);
        transaction.seen(format);
    }

    static Slot::Taken wish(const DeltacastConfig& format, Slot::Origin origin) {
        return {Slot::Wish::Configuration, origin, std::make_unique<DeltacastConfig>(format)};
    }
    static Slot::Taken order(const DeltacastConfig& format) {
        return wish(format, Slot::Origin::Order);
    }
    static Slot::Taken fallback(const DeltacastConfig& format) {
        return wish(format, Slot::Origin::Fallback);
    }

    static constexpr auto name720 = "720p50 rgb24, inputs 1 2, frame offsets 0 -1";
    static constexpr auto nameOther = "720p60 rgb24, inputs 1 2, frame offsets 0 -1";

    const test::TemporaryFolder folder;
    const utils::MessageFormatter formatter{"c"};
    const test::LogCapture log{utils::LogLevel::Info};
    std::string path = (folder.path() / "format").string();
    const DeltacastConfig format = test::progressive720();
    const DeltacastConfig other = test::progressive720At60();
};

TEST_F(CaptureFormatTransactionTest, BeginsSettledWithNothing) {
    auto transaction = begin();
    EXPECT_EQ(transaction.state(), State::Settled);
    EXPECT_FALSE(transaction.takeInterrupted());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(CaptureFormatTransactionTest, AnOrderIsWantedThenUnconfirmedThenSettled) {
    auto transaction = begin();
    transaction.ordered(format);
    EXPECT_EQ(transaction.state(), State::Wanted);
    transaction.launched(format, Kept::Yes);
    EXPECT_EQ(transaction.state(), State::Unconfirmed);
    transaction.seen(format);
    EXPECT_EQ(transaction.state(), State::Settled);
    EXPECT_TRUE(
        log.has(std::string("INFO c > Capture format ") + name720 + " is confirmed: it runs"));
}

TEST_F(CaptureFormatTransactionTest, AnotherFormatThatRunsConfirmsNothing) {
    auto transaction = begin();
    launch(transaction, format);
    transaction.seen(other);
    EXPECT_EQ(transaction.state(), State::Unconfirmed);
}

TEST_F(CaptureFormatTransactionTest, IsConfirmedOnce) {
    confirm(format);
    auto transaction = begin();
    const auto lines = log.lines().size();
    transaction.seen(format);
    EXPECT_EQ(log.lines().size(), lines);
}

TEST_F(CaptureFormatTransactionTest, IsConfirmedForTheNextService) {
    confirm(format);
    EXPECT_EQ(begin().state(), State::Settled);
}

TEST_F(CaptureFormatTransactionTest, IsUnconfirmedForTheNextServiceUntilItIsSeen) {
    {
        auto transaction = begin();
        launch(transaction, format);
    }
    auto next = begin();
    EXPECT_EQ(next.state(), State::Unconfirmed);
    EXPECT_EQ(log.lines().back(), std::string("INFO c > Capture format ") + name720 +
                                      " was launched last, and has not been seen running yet");
    next.seen(format);
    EXPECT_EQ(next.state(), State::Settled);
}

TEST_F(CaptureFormatTransactionTest, AnOrderThatWasNotLaunchedIsForTheNextService) {
    confirm(format);
    begin().ordered(other);
    auto next = begin();
    EXPECT_EQ(next.state(), State::Wanted);
    EXPECT_EQ(log.lines().back(),
              std::string("INFO c > Capture format ") + nameOther +
                  " was ordered before this service ended last, and not launched");
    EXPECT_EQ(next.takeInterrupted()->SerializeAsString(), other.SerializeAsString());
    EXPECT_FALSE(next.takeInterrupted());
}

TEST_F(CaptureFormatTransactionTest, ANewOrderTakesThePlaceOfOneThatWasNotLaunched) {
    begin().ordered(other);
    auto next = begin();
    next.ordered(format);
    EXPECT_FALSE(next.takeInterrupted());
}

TEST_F(CaptureFormatTransactionTest, AFormatThatCouldNotBeKeptStaysWanted) {
    auto transaction = begin();
    transaction.ordered(format);
    transaction.launched(format, Kept::No);
    transaction.seen(format);
    EXPECT_EQ(begin().takeInterrupted()->SerializeAsString(), format.SerializeAsString());
}

TEST_F(CaptureFormatTransactionTest, AFormatThatWasNeverSeenGivesWayToTheLastOneThatWas) {
    confirm(format);
    auto transaction = begin();
    launch(transaction, other);
    const auto failed = order(other);
    const auto instead = transaction.insteadOf(failed);
    ASSERT_EQ(instead.wish, Slot::Wish::Configuration);
    EXPECT_EQ(instead.origin, Slot::Origin::Fallback);
    EXPECT_EQ(instead.configuration->SerializeAsString(), format.SerializeAsString());
    EXPECT_EQ(givingWay(failed, instead),
              std::string("Capture format ") + nameOther +
                  " did not come up, and has never been seen running: it gives way to the last one "
                  "that has, " +
                  name720);
}

TEST_F(CaptureFormatTransactionTest, TheLastOneThatWasSeenGivesWayToTheDefaultOne) {
    confirm(format);
    auto transaction = begin();
    const auto failed = fallback(format);
    const auto instead = transaction.insteadOf(failed);
    EXPECT_EQ(instead.wish, Slot::Wish::Defaults);
    EXPECT_EQ(instead.origin, Slot::Origin::Fallback);
    EXPECT_EQ(givingWay(failed, instead), std::string("Capture format ") + name720 +
                                              " did not come up either: it gives way to the "
                                              "default one");
}

TEST_F(CaptureFormatTransactionTest, WithoutOneThatWasSeenTheDefaultOneIsNext) {
    auto transaction = begin();
    launch(transaction, format);
    EXPECT_EQ(transaction.insteadOf(order(format)).wish, Slot::Wish::Defaults);
}

TEST_F(CaptureFormatTransactionTest, NothingTakesThePlaceOfTheDefaultOne) {
    confirm(format);
    EXPECT_EQ(begin().insteadOf({Slot::Wish::Defaults, Slot::Origin::Fallback, nullptr}).wish,
              Slot::Wish::None);
}

TEST_F(CaptureFormatTransactionTest, AnOrderThatWasSeenBeforeGivesWayToNothing) {
    confirm(format);
    EXPECT_EQ(begin().insteadOf(order(format)).wish, Slot::Wish::None);
}

TEST_F(CaptureFormatTransactionTest, ARecordThatIsDamagedStandsForUnconfirmed) {
    confirm(format);
    const auto record = CaptureFormatRecordFile::pathBeside(path);
    const auto whole = test::readFile(record);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        auto damaged = whole;
        damaged[i] = static_cast<char>(damaged[i] ^ 1);
        folder.write("format.record", damaged);
        EXPECT_EQ(begin().state(), State::Unconfirmed) << "byte " << i;
        folder.write("format.record", whole.substr(0, i));
        EXPECT_EQ(begin().state(), State::Unconfirmed) << "cut at " << i;
    }
    EXPECT_TRUE(log.has("WARN c > Cannot use " + record +
                        ": it is damaged. It is not known whether the last capture format has ever "
                        "been seen running"));
}

TEST_F(CaptureFormatTransactionTest, AFileWithoutARecordStandsForUnconfirmed) {
    DeltacastConfigurationFile(path, formatter).save(format);
    EXPECT_EQ(begin().state(), State::Unconfirmed);
}

TEST_F(CaptureFormatTransactionTest, ARecordThatCannotBeWrittenIsSaidSoAndCountsUntilTheEnd) {
    path = (folder.path() / "none" / "format").string();
    auto transaction = begin();
    transaction.ordered(format);
    EXPECT_THAT(log.lines().back(), testing::StartsWith("ERROR c > Failed writing " + path));
    transaction.launched(format, Kept::No);
    transaction.seen(format);
    EXPECT_EQ(transaction.insteadOf(order(other)).configuration->SerializeAsString(),
              format.SerializeAsString());
}

TEST_F(CaptureFormatTransactionTest, WithoutAPathItCountsUntilTheEnd) {
    path.clear();
    auto transaction = begin();
    transaction.ordered(format);
    transaction.launched(format, Kept::No);
    transaction.seen(format);
    EXPECT_EQ(transaction.insteadOf(order(other)).configuration->SerializeAsString(),
              format.SerializeAsString());
    EXPECT_THAT(log.lines(), ElementsAre(std::string("INFO c > Capture format ") + name720 +
                                         " is confirmed: it runs"));
}

}  // namespace tarn::service::devices
