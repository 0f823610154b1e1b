#include "cli/jobs/JobProgress.h"

#include "cli/output/ClockTime.h"

#include <gtest/gtest.h>

#include <limits>

#include "cli/output/TerminalText.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using proto::job_monitoring::JobEventProgress;

namespace {

const JobProgress almostHalf{.position = 12s, .duration = 30s, .fraction = 0.42};
const JobProgress live{.position = 3723s, .duration = {}, .fraction = {}};

}  // namespace

TEST(JobProgressTest, TakesWhatTheEventSays) {
    JobEventProgress event;
    event.set_position_ns(1'000'000'000);
    event.set_duration_ns(4'000'000'000);
    event.set_fraction(0.25);
    const auto progress = JobProgress::fromEvent(event);
    EXPECT_EQ(progress.position, 1s);
    EXPECT_EQ(progress.duration, 4s);
    EXPECT_EQ(progress.fraction, 0.25);
}

TEST(JobProgressTest, LeavesOutWhatTheEventDoesNotSay) {
    const auto progress = JobProgress::fromEvent(JobEventProgress());
    EXPECT_FALSE(progress.position);
    EXPECT_FALSE(progress.duration);
    EXPECT_FALSE(progress.fraction);
}

TEST(JobProgressTest, LeavesOutWhatMakesNoSense) {
    JobEventProgress event;
    event.set_position_ns(-1);
    event.set_duration_ns(std::numeric_limits<std::int64_t>::min());
    event.set_fraction(std::numeric_limits<double>::quiet_NaN());
    const auto progress = JobProgress::fromEvent(event);
    EXPECT_FALSE(progress.position);
    EXPECT_FALSE(progress.duration);
    EXPECT_FALSE(progress.fraction);
}

TEST(JobProgressTest, ClampsTheFraction) {
    JobEventProgress event;
    event.set_fraction(17);
    EXPECT_EQ(JobProgress::fromEvent(event).fraction, 1.0);
    event.set_fraction(-1);
    EXPECT_EQ(JobProgress::fromEvent(event).fraction, 0.0);
}

TEST(JobProgressTest, WritesTimesAsAClock) {
    EXPECT_EQ(clockText(0s), "0:00");
    EXPECT_EQ(clockText(59'999ms), "0:59");
    EXPECT_EQ(clockText(750s), "12:30");
    EXPECT_EQ(clockText(3723s), "1:02:03");
}

TEST(JobProgressTest, AsTextGivesPercentAndPosition) {
    EXPECT_EQ(progressText("cam1", almostHalf), "cam1: 42 %, 0:12 of 0:30");
}

TEST(JobProgressTest, AsTextGivesThePositionWhereThereIsNoDuration) {
    EXPECT_EQ(progressText("cam1", live), "cam1: at 1:02:03");
    EXPECT_EQ(progressText("cam1", {}), "cam1: playing");
}

TEST(JobProgressTest, AsBarFillsTheShareOfTheWidthThatIsDone) {
    EXPECT_EQ(progressBar("cam1", almostHalf, 45), "cam1 [#######-----------]  42 %  0:12 / 0:30");
}

TEST(JobProgressTest, AsBarNeverReachesTheLastColumn) {
    for (std::size_t width = 0; width < 200; ++width) {
        const auto bar = progressBar("a name that is longer than others", almostHalf, width);
        EXPECT_LT(columns(bar), std::max<std::size_t>(width, 1)) << bar;
    }
}

TEST(JobProgressTest, AsBarIsFullOnlyAtTheEnd) {
    JobProgress progress{.position = {}, .duration = {}, .fraction = 0.999};
    EXPECT_EQ(progressBar("x", progress, 21), "x [#########-]  99 %");
    progress.fraction = 1.0;
    EXPECT_EQ(progressBar("x", progress, 21), "x [##########] 100 %");
}

TEST(JobProgressTest, HasNoBarWithoutRoomOrWithoutDuration) {
    EXPECT_EQ(progressBar("cam1", almostHalf, 28), "cam1  42 %  0:12 / 0:30");
    EXPECT_EQ(progressBar("cam1", live, 80), "cam1  1:02:03");
}

TEST(JobProgressTest, EscapesTheName) {
    EXPECT_EQ(progressText("\x1b[2J", {}), "\\x1b[2J: playing");
    EXPECT_EQ(progressBar("\r", live, 80), "\\x0d  1:02:03");
}

}  // namespace tarn::cli
