#include "platform/utils/RepeatedFailure.h"

#include <gmock/gmock.h>

#include "tests/support/LogCapture.h"

namespace tarn::utils {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST(RepeatedFailureTest, IsLoggedOnceASecondWithTheNumberOfThoseBetween) {
    const test::LogCapture log;
    Throttle::TimePoint now{};
    RepeatedFailure failure(LogLevel::Error, [&] { return now; });
    for (int i = 0; i < 98500; ++i) {
        failure.log("no");
    }
    now += 999ms;
    failure.log("no");
    EXPECT_THAT(log.lines(), ElementsAre("ERROR no"));
    now += 1ms;
    failure.log("no");
    now += 1s;
    failure.log("no");
    EXPECT_THAT(
        log.lines(),
        ElementsAre("ERROR no", "ERROR no (and 98500 times before, not logged)", "ERROR no"));
}

}  // namespace tarn::utils
