#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/socket/Socket.h"
#include "tests/cli/FakeGateway.h"
#include "tests/cli/TarnctlFixture.h"

namespace tarn::cli {

using nlohmann::json;
using test::FakeGateway;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

class EventsCommandTest : public TarnctlFixture {
  protected:
    CommandResult events(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"events", "--events-endpoint", gateway.endpoint()});
        return tarnctl(std::move(arguments));
    }

    /// An addition, a removal and a change, in two batches.
    void publishThreeEvents() {
        gateway.publishes(test::withRemoved(test::withAdded(test::numbered(5), "cam1"), "cam2"));
        gateway.publishes(test::withChanged(test::numbered(6), "cam3"));
    }

    FakeGateway gateway;
};

std::vector<json> lines(const std::string& text) {
    std::vector<json> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        result.push_back(json::parse(line));
    }
    return result;
}

}  // namespace

TEST_F(EventsCommandTest, WaitsForOneEvent) {
    publishThreeEvents();
    const CommandResult run = events({});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    EXPECT_THAT(run.out, MatchesRegex("[0-9:.]+  added    cam1 .host.\n"));
    EXPECT_EQ(run.err, "");
}

TEST_F(EventsCommandTest, WaitsForAsManyAsAreWanted) {
    publishThreeEvents();
    const CommandResult run = events({"--count", "3"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_THAT(run.out, MatchesRegex("[0-9:.]+  added    cam1 .host.\n"
                                      "[0-9:.]+  removed  cam2 .generic.\n"
                                      "[0-9:.]+  changed  cam3 .generic.\n"));
    EXPECT_EQ(events({"--count", "2", "--follow"}).out.find("cam3"), std::string::npos);
}

TEST_F(EventsCommandTest, ShowsOnlyTheTypesThatAreWanted) {
    publishThreeEvents();
    EXPECT_THAT(events({"--type", "changed"}).out, HasSubstr("cam3"));
    const auto two = events({"--type", "Removed", "--type", "changed", "--count", "2"}).out;
    EXPECT_THAT(two, MatchesRegex(".*removed  cam2.*changed  cam3.*"));
}

TEST_F(EventsCommandTest, SaysThatTooFewCameInTime) {
    publishThreeEvents();
    const CommandResult few = events({"--count", "4", "--timeout", "1"});
    EXPECT_EQ(few.status, ExitStatus::NoAnswer);
    EXPECT_THAT(few.out, HasSubstr("cam3"));
    EXPECT_EQ(few.err, "tarnctl: not so many events in time\n");
    const FakeGateway quiet;
    const CommandResult none =
        tarnctl({"events", "--events-endpoint", quiet.endpoint(), "--timeout", "1"});
    EXPECT_EQ(none.status, ExitStatus::NoAnswer);
    EXPECT_EQ(none.err, "tarnctl: no such event in time\n");
}

TEST_F(EventsCommandTest, SaysThatNobodyPublishes) {
    const std::string nobody = test::newEndpoint();
    for (const char* follow : {"--follow", "--count=1"}) {
        const CommandResult run =
            tarnctl({"events", "--events-endpoint", nobody, "--timeout", "0.3", follow});
        EXPECT_EQ(run.status, ExitStatus::NoAnswer);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, "tarnctl: nothing came from " + nobody +
                               " within 0.3 s; is tarnGateway running?\n");
    }
}

TEST_F(EventsCommandTest, AsksTheServiceWhereItsEventsArePublished) {
    const std::string endpoint = test::newEndpoint();
    service.sendsEventsTo(endpoint);
    FakeGateway beside(endpoint + ".pub");
    beside.publishes(test::withAdded(test::numbered(1), "cam9"));
    EXPECT_THAT(tarnctl({"events"}).out, HasSubstr("cam9"));
}

TEST_F(EventsCommandTest, SaysThatNothingFollowsTheEventsEndpoint) {
    service.sendsEventsTo("tcp://127.0.0.1:65535");
    const CommandResult run = tarnctl({"events"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("nothing follows tcp://127.0.0.1:65535"));
    service.sendsEventsTo("\x1b[2J");
    const CommandResult hostile = tarnctl({"events"});
    EXPECT_EQ(hostile.status, ExitStatus::Failed);
    EXPECT_THAT(hostile.err, HasSubstr("the service's events endpoint: "));
    EXPECT_EQ(hostile.err.find('\x1b'), std::string::npos);
}

TEST_F(EventsCommandTest, AreOneDocumentWithTheirContents) {
    publishThreeEvents();
    const auto document = json::parse(events({"--count", "3", "--json"}).out);
    ASSERT_EQ(document["events"].size(), 3U);
    EXPECT_EQ(document["events"][0], json::parse(R"({"type": "DEVICE_ADDED",
        "content": {"device_id": "cam1", "device_class": "HOST"}})"));
}

TEST_F(EventsCommandTest, AreALineABatchWhenFollowed) {
    gateway.publishes(test::withTree(test::numbered(4), test::treeOf("h", "")));
    publishThreeEvents();
    const auto all = lines(events({"--count", "3", "--json", "--follow"}).out);
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0]["sequence"], "5");
    EXPECT_EQ(all[0]["events"].size(), 2U);
    EXPECT_FALSE(all[0].contains("device_tree"));
    EXPECT_FALSE(all[0].contains("lost"));
    EXPECT_EQ(all[1]["events"][0]["content"]["device_id"], "cam3");
}

TEST_F(EventsCommandTest, LostBatchesAreSaid) {
    publishThreeEvents();
    gateway.publishes(test::withAdded(test::numbered(9), "cam4"));
    const CommandResult text = events({"--count", "4"});
    EXPECT_EQ(text.status, ExitStatus::Done);
    EXPECT_EQ(text.err, "tarnctl: 2 batches were lost\n");
    const auto all = lines(events({"--count", "4", "--json", "--follow"}).out);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[2]["lost"], "2");
}

TEST_F(EventsCommandTest, ALossIsALineEvenWithoutAnEvent) {
    publishThreeEvents();
    gateway.publishes(test::numbered(8));
    gateway.publishes(test::withAdded(test::numbered(9), "cam4"));
    const auto all = lines(events({"--count", "4", "--json", "--follow"}).out);
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all[2]["lost"], "1");
    EXPECT_EQ(all[2]["events"], json::array());
}

TEST_F(EventsCommandTest, AGatewayThatWasStartedAgainIsSaid) {
    gateway.publishes(test::withAdded(test::numbered(1), "cam1"));
    gateway.changesInstance();
    gateway.publishes(test::withAdded(test::numbered(1), "cam2"));
    const CommandResult run = events({"--count", "2"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.err, "tarnctl: the gateway was started again: batches may be lost\n");
}

TEST_F(EventsCommandTest, GarbageIsSaidAndPassedOver) {
    gateway.publishes(test::numbered(1));
    gateway.publishesGarbage();
    gateway.publishes(test::withAdded(test::numbered(2), "cam1"));
    const CommandResult run = events({});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.err, "tarnctl: something unreadable came from " + gateway.endpoint() + "\n");
}

TEST_F(EventsCommandTest, IdsAreEscaped) {
    gateway.publishes(test::withAdded(test::numbered(1), "\x1b[2J\n"));
    const auto text = events({}).out;
    EXPECT_THAT(text, HasSubstr("\\x1b[2J\\x0a"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

TEST_F(EventsCommandTest, CanBeReceivedInTheGatewaysPlace) {
    const std::string endpoint = test::newEndpoint();
    // Connects before somebody listens, and again until somebody does.
    socket::Socket emitter("emitter", socket::ClosePolicy::Flush);
    emitter.createAndConnect(socket::Protocol::Push, socket::SocketEndpoint::FromString(endpoint),
                             0);
    const auto batch = test::withAdded({}, "cam1");
    emitter.sendProtoBuf(&batch);
    const CommandResult run = tarnctl({"events", "--bind", "--events-endpoint", endpoint});
    EXPECT_EQ(run.status, ExitStatus::Done) << run.err;
    EXPECT_THAT(run.out, HasSubstr("added    cam1 (host)"));
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(EventsCommandTest, SaysThatNoServiceConnectsInTheGatewaysPlace) {
    const std::string endpoint = test::newEndpoint();
    const CommandResult run =
        tarnctl({"events", "--bind", "--events-endpoint", endpoint, "--timeout", "0.1"});
    EXPECT_EQ(run.status, ExitStatus::NoAnswer);
    EXPECT_EQ(run.err, "tarnctl: nothing came from " + endpoint +
                           " within 0.1 s; a service connects to it when the service starts\n");
}

TEST_F(EventsCommandTest, AnEndpointInUseIsNotTaken) {
    const CommandResult run =
        tarnctl({"events", "--bind", "--events-endpoint", gateway.endpoint()});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("cannot listen on " + gateway.endpoint()));
}

}  // namespace tarn::cli
