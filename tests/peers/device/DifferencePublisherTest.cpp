#include "peers/device/DifferencePublisher.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/peers/device/FakeChannel.h"
#include "tests/support/LogCapture.h"

namespace tarn::peers {
namespace {

using namespace tarn::test;
using namespace std::chrono_literals;
using Event = tarn::proto::monitoring::DeviceToTarnServiceEvent;

struct DifferencePublisherTest : testing::Test {
    FakeChannel channel;
    DifferencePublisher publisher{channel};
    DifferencePublisher::Time now{};

    /// The service asks for the description, and pings once it has it.
    void follow(const NodePointer& state) {
        publisher.described(state, now);
        publisher.pinged();
    }

    std::vector<Event::Type> sentTypes() {
        std::vector<Event::Type> types;
        for (const auto& event : channel.takeSent()) {
            types.push_back(event.type());
        }
        return types;
    }
};

using Types = std::vector<Event::Type>;

TEST_F(DifferencePublisherTest, NothingIsSentBeforeTheDescriptionWasAskedFor) {
    publisher.update(makeNode(1), now);
    publisher.update(makeNode(2), now + 1h);
    publisher.shutDown("box");
    EXPECT_EQ(sentTypes(), Types{});
}

TEST_F(DifferencePublisherTest, WhoPingsWithoutHavingAskedIsToldOfTheWholeDevice) {
    publisher.pinged();
    publisher.update(makeNode(1), now);
    publisher.update(makeNode(2), now);
    const auto events = channel.takeSent();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].type(), Event::DEVICE_ADD);
    EXPECT_EQ(events[0].GetExtension(tarn::proto::monitoring::DeviceAddEvent::base).device().id(),
              "box");
    EXPECT_EQ(events[1].type(), Event::STATUS_CHANGE);
}

TEST_F(DifferencePublisherTest, AServiceThatIsAwayIsALineAndThatItIsBackAnother) {
    const LogCapture log;
    const std::vector<std::string> none;
    const std::string away = "WARN Cannot send an event, changes are kept: the queue is full";
    const std::vector<std::string> awayAndBack{away, "INFO Events are taken again"};
    follow(makeNode(1));
    publisher.update(makeNode(2), now);
    EXPECT_EQ(log.lines(), none);
    channel.state = FakeChannel::State::Broken;
    publisher.update(makeNode(3), now);
    publisher.update(makeNode(4), now);
    EXPECT_EQ(log.lines(), std::vector<std::string>{away});
    channel.state = FakeChannel::State::Works;
    publisher.update(makeNode(4), now);
    publisher.update(makeNode(5), now);
    EXPECT_EQ(log.lines(), awayAndBack);
}

TEST_F(DifferencePublisherTest, ChangesOfValuesAreStatusChanges) {
    follow(makeNode(1));
    publisher.update(makeNode(2), now);
    const auto events = channel.takeSent();
    ASSERT_EQ(events.size(), 1U);
    const auto& changes = events[0].GetExtension(tarn::proto::monitoring::StatusChangeEvent::base);
    ASSERT_EQ(changes.named_status_changes_size(), 1);
    EXPECT_EQ(changes.named_status_changes(0).device_id(), "box");
    EXPECT_EQ(changes.named_status_changes(0).status().signed_value(), 2);
}

TEST_F(DifferencePublisherTest, APartThatAppearsIsAConfigurationChange) {
    follow(makeNode(1));
    publisher.update(makeNodeWithPart(1), now);
    publisher.update(makeNode(1), now);
    EXPECT_EQ(sentTypes(), (Types{Event::CONFIGURATION_CHANGE, Event::CONFIGURATION_CHANGE}));
}

TEST_F(DifferencePublisherTest, AStateLikeTheOneToldSendsNothing) {
    follow(makeNode(1));
    publisher.update(makeNode(1), now);
    publisher.update(makeNode(2), now);
    publisher.update(makeNode(2), now);
    EXPECT_EQ(sentTypes(), Types{Event::STATUS_CHANGE});
}

TEST_F(DifferencePublisherTest, EventsWaitUntilTheDescriptionHasArrived) {
    publisher.described(makeNode(1), now);
    publisher.update(makeNode(2), now);
    publisher.update(makeNode(3), now + DifferencePublisher::settlingTime - 1ms);
    EXPECT_EQ(sentTypes(), Types{});

    publisher.pinged();
    publisher.update(makeNode(3), now + DifferencePublisher::settlingTime - 1ms);
    EXPECT_EQ(sentTypes(), Types{Event::STATUS_CHANGE});
}

TEST_F(DifferencePublisherTest, WithoutAPingTheyWaitForTheSettlingTime) {
    publisher.described(makeNode(1), now);
    publisher.update(makeNode(2), now + DifferencePublisher::settlingTime);
    EXPECT_EQ(sentTypes(), Types{Event::STATUS_CHANGE});
}

TEST_F(DifferencePublisherTest, ADescriptionThatTellsNothingNewIsNoReasonForAnEvent) {
    follow(makeNode(1));
    publisher.update(makeNode(2), now);
    channel.takeSent();
    follow(makeNode(2));
    publisher.update(makeNode(2), now);
    EXPECT_EQ(sentTypes(), Types{});
}

TEST_F(DifferencePublisherTest, WhatOnlyADescriptionToldGoesOutWholeToTheOthers) {
    follow(makeNode(1));
    follow(makeNode(2));  // somebody else, perhaps
    publisher.update(makeNode(1), now);
    const auto events = channel.takeSent();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].type(), Event::CONFIGURATION_CHANGE);

    publisher.update(makeNode(3), now);
    EXPECT_EQ(sentTypes(), Types{Event::STATUS_CHANGE}) << "once is enough";
}

TEST_F(DifferencePublisherTest, AChangeThatCouldNotBeSentIsPartOfTheNext) {
    follow(makeNode(1));
    channel.state = FakeChannel::State::Broken;
    publisher.update(makeNodeWithPart(1), now);
    publisher.update(makeNodeWithPart(2), now);
    channel.state = FakeChannel::State::Works;
    publisher.update(makeNodeWithPart(2), now);
    EXPECT_EQ(sentTypes(), Types{Event::CONFIGURATION_CHANGE});
    publisher.update(makeNodeWithPart(2), now);
    EXPECT_EQ(sentTypes(), Types{});
}

TEST_F(DifferencePublisherTest, AWholeThatCouldNotBeSentStaysDue) {
    follow(makeNode(1));
    follow(makeNode(2));
    channel.state = FakeChannel::State::Broken;
    publisher.update(makeNode(2), now);
    channel.state = FakeChannel::State::Works;
    publisher.update(makeNode(2), now);
    EXPECT_EQ(sentTypes(), Types{Event::CONFIGURATION_CHANGE});
}

TEST_F(DifferencePublisherTest, FailuresAreLoggedOnceAndSoIsTheirEnd) {
    follow(makeNode(1));
    const LogCapture log;
    channel.state = FakeChannel::State::Broken;
    publisher.update(makeNode(2), now);
    publisher.update(makeNode(3), now);
    channel.state = FakeChannel::State::Works;
    publisher.update(makeNode(4), now);
    publisher.update(makeNode(5), now);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "WARN Cannot send an event, changes are kept: the queue is full",
                               "INFO Events are taken again"}));
}

TEST_F(DifferencePublisherTest, TellsThatTheDeviceGoes) {
    publisher.described(makeNode(1), now);
    publisher.shutDown("box");
    const auto events = channel.takeSent();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].type(), Event::SHUTDOWN);
    EXPECT_EQ(events[0].GetExtension(tarn::proto::monitoring::ShutdownEvent::base).device_id(),
              "box");
}

// Whoever took a description holds the device's state once the events that were on their way then,
// and those after it, are applied: in whatever order descriptions, changes, failures came.
TEST_F(DifferencePublisherTest, WhoFollowsHoldsTheStateWhateverHappensBetween) {
    std::mt19937 random(20261121);
    const auto state = [&] {
        const auto value = static_cast<std::int64_t>(random() % 3);
        return random() % 4 == 0 ? makeNodeWithPart(value) : makeNode(value);
    };
    auto current = makeNode(0);
    tarn::device_tree::DeviceNode follower = *current;
    tarn::device_tree::DeviceNode other = *current;
    std::vector<Event> onTheirWay;
    follow(current);
    for (int step = 0; step < 20'000; ++step) {
        now += 100ms;
        channel.state = random() % 3 == 0 ? FakeChannel::State::Broken : FakeChannel::State::Works;
        const auto choice = random() % 10;
        if (choice == 0) {
            publisher.described(current, now);
            follower = *current;  // before what is on its way to it
        } else if (choice == 1) {
            publisher.described(current, now);  // somebody else asked
        } else if (choice == 2) {
            publisher.pinged();
        } else {
            current = state();
            publisher.update(current, now);
        }
        const auto sent = channel.takeSent();
        onTheirWay.insert(onTheirWay.end(), sent.begin(), sent.end());
        if (random() % 5 == 0) {
            for (const auto& event : onTheirWay) {
                apply(event, follower);
                apply(event, other);
            }
            onTheirWay.clear();
        }
        if (step % 100 == 0) {
            channel.state = FakeChannel::State::Works;
            now += DifferencePublisher::settlingTime;
            publisher.update(current, now);
            for (const auto& event : channel.takeSent()) {
                onTheirWay.push_back(event);
            }
            for (const auto& event : onTheirWay) {
                apply(event, follower);
                apply(event, other);
            }
            onTheirWay.clear();
            ASSERT_EQ(follower, *current) << step << "\n" << follower.debugString(0);
            ASSERT_EQ(other, *current) << step << "\n" << other.debugString(0);
        }
    }
}

}  // namespace
}  // namespace tarn::peers
