#include "peers/job_runtime/events/EventPublisher.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/peers/support/JobEvents.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using namespace tarn::proto::job_monitoring;
using Clock = EventPublisher::Clock;

struct EventPublisherTest : testing::Test {
    /// What is published from then on reaches them.
    void awaitSubscriber() { ASSERT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s)); }

    static JobEventState playing() {
        JobEventState state;
        state.set_state(JOB_STATE_PLAYING);
        return state;
    }

    static std::optional<JobEvent> next(test::JobEvents& events) {
        return events.waitFor([](const JobEvent&) { return true; });
    }

    const test::TemporaryFolder folder;
    const std::string endpoint = "ipc://" + (folder.path() / "events").string();
    EventPublisher publisher{tarn::socket::SocketEndpoint::FromString(endpoint), "the-id"};
};

TEST_F(EventPublisherTest, EachEventSaysWhoseAndWhatItIs) {
    test::JobEvents events(endpoint);
    awaitSubscriber();
    publisher.tell(JobEvent::STATE, playing());
    JobEventProgress progress;
    progress.set_position_ns(7);
    publisher.tell(JobEvent::PROGRESS, progress);
    publisher.failure("what", "where");
    publisher.end({JobEventEnd::FAILED, {}, "why"}, Clock::now());

    const auto state = next(events);
    ASSERT_TRUE(state);
    EXPECT_EQ(state->job_id(), "the-id");
    EXPECT_EQ(state->type(), JobEvent::STATE);
    EXPECT_EQ(state->GetExtension(JobEventState::base).state(), JOB_STATE_PLAYING);
    const auto told = next(events);
    ASSERT_TRUE(told);
    EXPECT_EQ(told->type(), JobEvent::PROGRESS);
    EXPECT_EQ(told->GetExtension(JobEventProgress::base).position_ns(), 7);
    const auto failure = next(events);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->type(), JobEvent::FAILURE);
    EXPECT_EQ(failure->GetExtension(JobEventFailure::base).message(), "what");
    EXPECT_EQ(failure->GetExtension(JobEventFailure::base).detail(), "where");
    const auto end = next(events);
    ASSERT_TRUE(end);
    EXPECT_EQ(end->type(), JobEvent::END);
    EXPECT_EQ(end->GetExtension(JobEventEnd::base).reason(), JobEventEnd::FAILED);
    EXPECT_EQ(end->GetExtension(JobEventEnd::base).message(), "why");
    EXPECT_FALSE(end->GetExtension(JobEventEnd::base).has_exit_status());
    EXPECT_FALSE(end->GetExtension(JobEventEnd::base).has_signal());
}

// Whoever may listen to a job need not be let in where it plays from.
TEST_F(EventPublisherTest, NoEventHoldsASecret) {
    test::JobEvents events(endpoint);
    awaitSubscriber();
    publisher.failure("no rtsp://u:geheim@h/", "srt://h?passphrase=geheim");
    publisher.end({JobEventEnd::FAILED, {}, "rtmp://h/app/geheim"}, Clock::now());
    const auto failure = next(events);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->GetExtension(JobEventFailure::base).message(), "no rtsp://u:***@h/");
    EXPECT_EQ(failure->GetExtension(JobEventFailure::base).detail(), "srt://h?passphrase=***");
    const auto end = next(events);
    ASSERT_TRUE(end);
    EXPECT_EQ(end->GetExtension(JobEventEnd::base).message(), "rtmp://h/app/***");
}

TEST_F(EventPublisherTest, TheEndSaysHowTheProcessEnded) {
    test::JobEvents events(endpoint);
    awaitSubscriber();
    publisher.end({JobEventEnd::CRASHED, {.exitStatus = {}, .signal = 11}, ""}, Clock::now());
    const auto killed = events.waitForEnd();
    ASSERT_TRUE(killed);
    EXPECT_EQ(killed->signal(), 11);
    EXPECT_FALSE(killed->has_exit_status());
    publisher.end({JobEventEnd::CRASHED, {.exitStatus = 3, .signal = {}}, ""}, Clock::now());
    const auto exited = events.waitForEnd();
    ASSERT_TRUE(exited);
    EXPECT_EQ(exited->exit_status(), 3);
    EXPECT_FALSE(exited->has_signal());
}

TEST_F(EventPublisherTest, NobodyHasSubscribedUntilSomebodyDid) {
    EXPECT_FALSE(publisher.hasSubscriber());
    EXPECT_FALSE(publisher.awaitSubscriber(Clock::now() + 1ms));
    {
        const test::JobEvents events(endpoint);
        EXPECT_TRUE(publisher.awaitSubscriber(Clock::now() + 10s));
    }
    // Ever, and at once.
    const auto begin = Clock::now();
    EXPECT_TRUE(publisher.hasSubscriber());
    EXPECT_TRUE(publisher.awaitSubscriber(Clock::now() + 1h));
    EXPECT_LT(Clock::now() - begin, 1h);
}

TEST_F(EventPublisherTest, WhoSubscribesAfterTheEndIsToldItToo) {
    std::jthread end([&] {
        publisher.end({JobEventEnd::DESTROYED, {}, "over"}, Clock::now() + 2s);
    });
    test::JobEvents late(endpoint);
    EXPECT_TRUE(late.waitForEnd());
    test::JobEvents later(endpoint);
    EXPECT_TRUE(later.waitForEnd());
}

TEST_F(EventPublisherTest, GivesItsEndpointBack) {
    publisher.close();
    EXPECT_NO_THROW(EventPublisher(tarn::socket::SocketEndpoint::FromString(endpoint), "another"));
    const test::LogCapture log;
    publisher.tell(JobEvent::STATE, playing());
    EXPECT_TRUE(log.contains("WARN Cannot publish an event: "));
    EXPECT_FALSE(publisher.awaitSubscriber(Clock::now()));
    EXPECT_TRUE(log.contains("WARN Cannot wait for subscribers: "));
}

}  // namespace
}  // namespace tarn::peers
