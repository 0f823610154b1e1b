#include "cli/jobs/JobReporter.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>
#include "cli/output/Json.h"

#include <sstream>

#include "tests/support/peers/FakeJob.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using namespace proto::job_monitoring;

namespace {

const JobReporter::TimePoint start = JobReporter::TimePoint() + 1000s;

class JobReporterTest : public testing::Test {
  protected:
    std::ostringstream text;
    ProgressReporter lines{text, Terminal{}, "cam1"};
    ProgressReporter bar{
        text, {.colours = Colours::Off, .progress = ProgressStyle::Bar, .width = 45}, "cam1"};
};

}  // namespace

TEST_F(JobReporterTest, WritesALineEveryFiveSeconds) {
    lines.event(test::progressEvent(0.1), start);
    lines.event(test::progressEvent(0.2), start + 4999ms);
    lines.event(test::progressEvent(0.3), start + 5s);
    EXPECT_EQ(text.str(), "cam1: 10 %, 0:10 of 1:40\ncam1: 30 %, 0:30 of 1:40\n");
}

TEST_F(JobReporterTest, WritesStatesAndFailuresAtOnce) {
    lines.event(test::stateEvent(JOB_STATE_PLAYING), start);
    lines.event(test::failureEvent("no signal"), start);
    lines.event(test::stateEvent(JOB_STATE_WAITING_TO_RESTART), start);
    EXPECT_EQ(text.str(), "cam1: playing\ncam1: no signal\ncam1: waiting to restart\n");
}

TEST_F(JobReporterTest, JsonHoldsTheContentOfAnEvent) {
    const auto document = toJson(test::stateEvent(JOB_STATE_PLAYING));
    EXPECT_EQ(document["content"]["state"], "JOB_STATE_PLAYING");
}

TEST_F(JobReporterTest, AStateThatIsSaidAgainIsNoNewLine) {
    lines.event(test::stateEvent(JOB_STATE_PLAYING), start);
    lines.event(test::stateEvent(JOB_STATE_PLAYING), start);
    lines.event(test::stateEvent(JOB_STATE_STOPPING), start);
    EXPECT_EQ(text.str(), "cam1: playing\ncam1: stopping\n");
}

TEST_F(JobReporterTest, DrawsOneLineAgainAndAgainOnATerminal) {
    bar.event(test::progressEvent(0.25), start);
    bar.event(test::progressEvent(0.5), start);
    EXPECT_EQ(text.str(),
              "\rcam1 [####--------------]  25 %  0:25 / 1:40\x1b[K"
              "\rcam1 [#########---------]  50 %  0:50 / 1:40\x1b[K");
}

TEST_F(JobReporterTest, TakesTheBarAwayBeforeALineAndAtTheEnd) {
    bar.event(test::progressEvent(0.5), start);
    text.str("");
    bar.event(test::failureEvent("no signal"), start);
    EXPECT_EQ(text.str(), "\r\x1b[Kcam1: no signal\n");
    text.str("");
    bar.finish();
    EXPECT_EQ(text.str(), "");
    bar.event(test::progressEvent(0.5), start);
    text.str("");
    bar.finish();
    EXPECT_EQ(text.str(), "\r\x1b[K");
}

TEST_F(JobReporterTest, EscapesWhatTheJobSays) {
    lines.event(test::failureEvent("\x1b]0;x\x07"), start);
    EXPECT_EQ(text.str(), "cam1: \\x1b]0;x\\x07\n");
}

}  // namespace tarn::cli
