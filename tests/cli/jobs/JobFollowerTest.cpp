#include "cli/jobs/JobFollower.h"

#include <gtest/gtest.h>

#include "tests/support/peers/FakeJob.h"

namespace tarn::cli {

using namespace std::chrono_literals;
using namespace proto::job_monitoring;
using OutcomeKind = JobOutcome::Kind;

namespace {

JobEvent from(const std::string& id, JobEvent event) {
    event.set_job_id(id);
    return event;
}

class JobFollowerTest : public testing::Test {
  protected:
    JobFollower submitted() { return {"a", JobFollower::Begin::Submitted, 5s, start}; }
    JobFollower running() { return {"a", JobFollower::Begin::Running, 5s, start}; }

    const JobFollower::TimePoint start = JobFollower::TimePoint() + 1000s;
};

}  // namespace

TEST_F(JobFollowerTest, EndsWithTheLastEvent) {
    auto follower = running();
    EXPECT_TRUE(follower.onEvent(from("a", test::endEvent(JobEventEnd::END_OF_STREAM)), start));
    ASSERT_TRUE(follower.outcome());
    EXPECT_EQ(follower.outcome()->kind, OutcomeKind::EndOfStream);
    EXPECT_EQ(follower.outcome()->text, "job a ended: end of stream");
}

TEST_F(JobFollowerTest, IgnoresTheEventsOfAnotherJob) {
    auto follower = running();
    EXPECT_FALSE(follower.onEvent(from("b", test::endEvent(JobEventEnd::CRASHED)), start));
    EXPECT_FALSE(follower.outcome());
}

TEST_F(JobFollowerTest, DoesNotAskWhileEventsCome) {
    auto follower = running();
    follower.onEvent(from("a", test::progressEvent(0.1)), start + 10s);
    EXPECT_EQ(follower.nextCheck(), start + 10s + 1500ms);
}

TEST_F(JobFollowerTest, AsksSoonAfterASubmission) {
    EXPECT_EQ(submitted().nextCheck(), start + 100ms);
}

TEST_F(JobFollowerTest, WaitsForASubmittedJobUntilTheTimeOut) {
    auto follower = submitted();
    follower.onPresence(Presence::Absent, start + 4999ms);
    EXPECT_FALSE(follower.outcome());
    follower.onPresence(Presence::Absent, start + 5s);
    ASSERT_TRUE(follower.outcome());
    EXPECT_EQ(follower.outcome()->kind, OutcomeKind::NotStarted);
    EXPECT_EQ(follower.outcome()->text, "job a did not start; see the service's log");
}

TEST_F(JobFollowerTest, GivesAJobThatLeftTheListASecondForItsLastEvent) {
    auto follower = submitted();
    follower.onPresence(Presence::Running, start + 1s);
    follower.onPresence(Presence::Absent, start + 20s);
    EXPECT_FALSE(follower.outcome());
    follower.onPresence(Presence::Absent, start + 20999ms);
    EXPECT_FALSE(follower.outcome());
    follower.onEvent(from("a", test::endBySignal(11)), start + 20999ms);
    ASSERT_TRUE(follower.outcome());
    EXPECT_EQ(follower.outcome()->kind, OutcomeKind::Crashed);
}

TEST_F(JobFollowerTest, GivesUpAJobThatLeftTheListWithoutALastEvent) {
    auto follower = running();
    follower.onPresence(Presence::Absent, start + 2s);
    follower.onPresence(Presence::Absent, start + 3s);
    ASSERT_TRUE(follower.outcome());
    EXPECT_EQ(follower.outcome()->kind, OutcomeKind::Gone);
    EXPECT_EQ(follower.outcome()->text, "job a is gone and did not say why; see the service's log");
}

TEST_F(JobFollowerTest, GoesOnWithAJobThatIsBackInTheList) {
    auto follower = running();
    follower.onPresence(Presence::Absent, start + 2s);
    follower.onPresence(Presence::Running, start + 2500ms);
    follower.onPresence(Presence::Absent, start + 4s);
    EXPECT_FALSE(follower.outcome());
}

TEST_F(JobFollowerTest, GivesUpWhenNobodyAnswersForTheTimeOut) {
    auto follower = running();
    follower.onPresence(Presence::Unknown, start + 10s);
    follower.onPresence(Presence::Unknown, start + 14999ms);
    EXPECT_FALSE(follower.outcome());
    follower.onPresence(Presence::Unknown, start + 15s);
    ASSERT_TRUE(follower.outcome());
    EXPECT_EQ(follower.outcome()->kind, OutcomeKind::NoAnswer);
}

TEST_F(JobFollowerTest, StartsCountingSilenceAnewAfterAnEvent) {
    auto follower = running();
    follower.onPresence(Presence::Unknown, start + 10s);
    follower.onEvent(from("a", test::progressEvent(0.5)), start + 12s);
    follower.onPresence(Presence::Unknown, start + 16s);
    EXPECT_FALSE(follower.outcome());
}

}  // namespace tarn::cli
