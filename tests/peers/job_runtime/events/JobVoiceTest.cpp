#include "peers/job_runtime/events/JobVoice.h"

#include <gtest/gtest.h>

#include "peers/job_runtime/events/EventPublisher.h"
#include "peers/job_runtime/events/JobStatus.h"
#include "peers/job_runtime/pipeline/RunResult.h"
#include "proto/pipeline_control.pb.h"
#include "tests/peers/support/JobEvents.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using namespace tarn::proto::job_monitoring;
using tarn::proto::pipeline_control::PipelineReport;
using Clock = JobVoice::Clock;

struct JobVoiceTest : testing::Test {
    void awaitSubscriber() { ASSERT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s)); }

    /// Everything up to the next progress, which is told to mark the place.
    std::vector<JobEvent> eventsSoFar(test::JobEvents& events) {
        JobEventProgress mark;
        mark.set_position_ns(-1);
        publisher.tell(JobEvent::PROGRESS, mark);
        const auto before = events.all().size();
        EXPECT_TRUE(events.waitFor([](const JobEvent& event) {
            return event.GetExtension(JobEventProgress::base).position_ns() == -1;
        }));
        return {events.all().begin() + static_cast<std::ptrdiff_t>(before), events.all().end() - 1};
    }

    static PipelineReport report(std::int64_t position, std::int64_t duration) {
        PipelineReport report;
        report.set_position_ns(position);
        report.set_duration_ns(duration);
        return report;
    }

    const test::TemporaryFolder folder;
    const test::LogCapture log;
    const std::string endpoint = "ipc://" + (folder.path() / "events").string();
    EventPublisher publisher{tarn::socket::SocketEndpoint::FromString(endpoint), "the-id"};
    JobStatus status;
    const Clock::time_point bound = Clock::now();
    Clock::time_point time = bound;
    JobVoice voice{status, publisher, [this] { return time; }};
};

TEST_F(JobVoiceTest, ANewStateIsToldOnce) {
    test::JobEvents events(endpoint);
    awaitSubscriber();
    voice.show(JOB_STATE_PLAYING);
    voice.show(JOB_STATE_PLAYING);
    EXPECT_EQ(status.snapshot().state(), JOB_STATE_PLAYING);
    const auto told = eventsSoFar(events);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].GetExtension(JobEventState::base).state(), JOB_STATE_PLAYING);
    const std::vector<std::string> line{"INFO State JOB_STATE_PLAYING"};
    EXPECT_EQ(log.lines(), line);
}

TEST_F(JobVoiceTest, TheStateIsToldAgainAfterAWhileWithoutWords) {
    test::JobEvents events(endpoint);
    awaitSubscriber();
    time = bound + 1s;
    voice.show(JOB_STATE_PLAYING);
    const auto due = bound + 2200ms;
    EXPECT_EQ(voice.deadline(), due);
    voice.step(due - 1ns);
    EXPECT_EQ(eventsSoFar(events).size(), 1U);
    time = due;
    voice.step(due);
    const auto told = eventsSoFar(events);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].type(), JobEvent::STATE);
    EXPECT_EQ(voice.deadline(), due + 1200ms);
}

TEST_F(JobVoiceTest, ProgressTellsThePlaceTheLengthAndTheFraction) {
    test::JobEvents events(endpoint);
    awaitSubscriber();
    voice.progress(report(25, 100));
    const auto told = eventsSoFar(events);
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].type(), JobEvent::STATE);
    const auto& progress = told[1].GetExtension(JobEventProgress::base);
    EXPECT_EQ(progress.position_ns(), 25);
    EXPECT_EQ(progress.duration_ns(), 100);
    EXPECT_DOUBLE_EQ(progress.fraction(), 0.25);
    const auto now = status.snapshot();
    EXPECT_EQ(now.position_ns(), 25);
    EXPECT_EQ(now.duration_ns(), 100);
    EXPECT_DOUBLE_EQ(now.fraction(), 0.25);
}

TEST_F(JobVoiceTest, TheFractionIsNeverOutsideItsBounds) {
    voice.progress(report(300, 100));
    EXPECT_DOUBLE_EQ(status.snapshot().fraction(), 1);
    voice.progress(report(-300, 100));
    EXPECT_DOUBLE_EQ(status.snapshot().fraction(), 0);
}

TEST_F(JobVoiceTest, WhatIsNotKnownIsNotTold) {
    voice.progress(report(25, 100));
    PipelineReport live;
    live.set_position_ns(30);
    voice.progress(live);
    EXPECT_EQ(status.snapshot().position_ns(), 30);
    EXPECT_FALSE(status.snapshot().has_duration_ns());
    EXPECT_FALSE(status.snapshot().has_fraction());
    voice.progress(report(25, 0));
    EXPECT_FALSE(status.snapshot().has_fraction());
    PipelineReport withoutPlace;
    withoutPlace.set_duration_ns(100);
    voice.progress(withoutPlace);
    EXPECT_EQ(status.snapshot().duration_ns(), 100);
    EXPECT_FALSE(status.snapshot().has_fraction());
}

TEST_F(JobVoiceTest, AFailureIsInTheLogTheStatusAndAnEvent) {
    test::JobEvents events(endpoint);
    awaitSubscriber();
    voice.failure("no such file", "line 3");
    EXPECT_TRUE(log.has("ERROR Failure: no such file line 3"));
    EXPECT_EQ(status.snapshot().last_failure(), "no such file");
    const auto told = eventsSoFar(events);
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told[0].GetExtension(JobEventFailure::base).message(), "no such file");
    EXPECT_EQ(told[0].GetExtension(JobEventFailure::base).detail(), "line 3");
}

TEST_F(JobVoiceTest, AFailureWaitsAMomentForASubscriber) {
    voice.lack("not persistent");
    EXPECT_EQ(status.snapshot().last_failure(), "not persistent");
    EXPECT_TRUE(log.lines().empty());
    voice.step(bound + 299ms);
    test::JobEvents events(endpoint);
    awaitSubscriber();
    EXPECT_TRUE(eventsSoFar(events).empty());
    voice.step(bound + 299ms);
    const auto told = eventsSoFar(events);
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told[0].GetExtension(JobEventFailure::base).message(), "not persistent");
}

TEST_F(JobVoiceTest, AFailureThatNobodySubscribesToIsOverAfterThatMoment) {
    voice.show(JOB_STATE_STARTING);  // which puts the heartbeat off
    EXPECT_GT(voice.deadline(), bound + 300ms);
    voice.lack("not persistent");
    EXPECT_EQ(voice.deadline(), bound + 300ms);
    voice.step(bound + 300ms);
    EXPECT_GT(voice.deadline(), bound + 300ms);
    test::JobEvents events(endpoint);
    awaitSubscriber();
    voice.step(bound + 301ms);
    EXPECT_TRUE(eventsSoFar(events).empty());
}

TEST_F(JobVoiceTest, TheLastWordsAreWhatIsLeftTheStateAndTheEnd) {
    test::JobEvents events(endpoint);
    awaitSubscriber();
    voice.lack("not persistent");
    voice.end({JobEventEnd::END_OF_STREAM, {}, "end of stream"});
    EXPECT_TRUE(log.has("INFO Ended: end of stream"));
    EXPECT_EQ(status.snapshot().state(), JOB_STATE_ENDED);
    const auto told = eventsSoFar(events);
    ASSERT_GE(told.size(), 3U);
    EXPECT_EQ(told[0].type(), JobEvent::FAILURE);
    EXPECT_EQ(told[1].type(), JobEvent::STATE);
    EXPECT_EQ(told[2].type(), JobEvent::END);
}

}  // namespace
}  // namespace tarn::peers
