#include "platform/cell/Cell.h"

#include <gmock/gmock.h>

#include <thread>

#include "platform/cell/kernel/LandlockKernel.h"
#include "tests/platform/cell/InCell.h"

namespace tarn::cell {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(CellTest, SaysWhatItIsMadeOf) {
    const auto report = tryInCell({}, [] { return std::string(); }).report;
    EXPECT_THAT(report.built, HasSubstr("no capabilities"));
    EXPECT_THAT(report.built, HasSubstr("system calls and signals filtered"));
    if (kernel::landlockVersion() > 0) {
        EXPECT_THAT(report.built,
                    HasSubstr("Landlock " + std::to_string(kernel::landlockVersion())));
        EXPECT_THAT(report.missing, IsEmpty());
    }
}

TEST(CellTest, SaysWhatIsOpen) {
    const auto report =
        tryInCell({.localSockets = LocalSockets::Allowed}, [] { return std::string(); }).report;
    EXPECT_THAT(report.notes, Contains(HasSubstr("every folder of its user")));
    EXPECT_THAT(report.notes, Contains(HasSubstr("Unix sockets")));
    EXPECT_THAT(report.notes, Contains(HasSubstr("it goes on as user")));
}

TEST(CellTest, CanBeEnteredInACellToo) {
    const auto tried = tryInCell({}, [] { return std::to_string(enter({}).missing.size()); });
    EXPECT_EQ(tried.said, "0");
}

#ifndef TARN_SANITIZED
TEST(CellTest, AThreadThatIsThereAlreadyIsAHoleInTheWall) {
    const auto tried = tryInCell({}, [] {
        const std::jthread other([](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                std::this_thread::yield();
            }
        });
        const auto missing = enter({}).missing;
        return missing.empty() ? "nothing" : missing.front();
    });
    EXPECT_THAT(tried.said, HasSubstr("it has 2 threads already"));
}
#endif

}  // namespace
}  // namespace tarn::cell
