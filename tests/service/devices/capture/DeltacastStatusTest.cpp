#include "service/devices/capture/DeltacastStatus.h"

#include <gmock/gmock.h>

#include "platform/utils/MessageFormatter.h"
#include "tests/support/LogCapture.h"

namespace tarn::service::devices {

using enum DeltacastStatus;

struct Transition {
    DeltacastStatus from;
    DeltacastStatus to;
    const char* text;
};

class DeltacastStatusTest : public testing::TestWithParam<Transition> {};

TEST_P(DeltacastStatusTest, ALineTellsTheChange) {
    const utils::MessageFormatter formatter("c");
    DeltacastStatusMachine status(formatter);
    status.enter(GetParam().from);
    const test::LogCapture log;
    EXPECT_EQ(status.enter(GetParam().to), DeltacastStatusMachine::Change::Done);
    EXPECT_EQ(status.current(), GetParam().to);
    EXPECT_THAT(log.lines(), testing::ElementsAre(std::string("INFO c > ") + GetParam().text));
    EXPECT_EQ(status.enter(GetParam().to), DeltacastStatusMachine::Change::None);
    EXPECT_THAT(log.lines(), testing::SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(
    All, DeltacastStatusTest,
    testing::Values(
        Transition{Starting, Unreachable, "Changing status from Starting to Unreachable"},
        Transition{Running, Unreachable, "Changing status from Running to Unreachable"},
        Transition{Unreachable, Starting, "Changing status from Unreachable to Starting"},
        Transition{Running, Starting, "Changing status from Running to Starting"},
        Transition{Unreachable, Running, "Changing status from Unreachable to Running"},
        Transition{Starting, Running, "Changing status from Starting to Running"}),
    [](const auto& tested) {
        std::string name = tested.param.text;
        std::erase_if(name, [](char c) { return c == ' '; });
        return name;
    });

TEST(DeltacastStatusNumbersTest, IsUnreachableAtFirst) {
    const utils::MessageFormatter formatter("c");
    EXPECT_EQ(DeltacastStatusMachine(formatter).current(), Unreachable);
}

TEST(DeltacastStatusNumbersTest, HasItsNumbers) {
    EXPECT_EQ(static_cast<unsigned>(Unreachable), 0U);
    EXPECT_EQ(static_cast<unsigned>(Starting), 1U);
    EXPECT_EQ(static_cast<unsigned>(Running), 2U);
}

}  // namespace tarn::service::devices
