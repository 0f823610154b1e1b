#include "platform/socket/visitors/Visitors.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "platform/os/FileDescriptor.h"

namespace tarn::socket {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct Pair {
    os::FileDescriptor ours;
    os::FileDescriptor his;
};

Pair newPair() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    return {os::FileDescriptor(ends[0]), os::FileDescriptor(ends[1])};
}

os::FileDescriptor oneOfPair() {
    return newPair().ours;
}

/// What he sees of a connection whose other end is his.
bool isShutDown(const os::FileDescriptor& his) {
    char byte = 0;
    return ::recv(his.get(), &byte, 1, MSG_DONTWAIT) == 0;
}

class VisitorsTest : public testing::Test {
  protected:
    /// Lets him in as often as he may, `most` times at most; how often that was.
    int enter(const Visitor& visitor, int most = 100) {
        int count = 0;
        for (; count < most; ++count) {
            auto connection = oneOfPair();
            if (!visitors.admit(connection.get(), visitor)) {
                break;
            }
            connections.push_back(std::move(connection));
        }
        now += 1s;  // whoever left is looked for again
        return count;
    }

    int last() const { return connections.back().get(); }

    Visitors::Room room{
        .connections = 3, .allConnections = 5, .waitingBytes = 1000, .askingPerSecond = 10};
    Visitors::Clock::time_point now{1h};
    std::vector<std::string> warnings;
    std::vector<os::FileDescriptor> connections;
    Visitors visitors{[this] { return room; },
                      [this](const auto& text) { warnings.push_back(text); },
                      [this] { return now; }};
    const Visitor first = Visitor::OfUser(1001);
    const Visitor second = Visitor::OfUser(1002);
    const Visitor far = Visitor::AtAddress("10.0.0.7");
};

}  // namespace

TEST_F(VisitorsTest, HaveSoManyConnectionsEach) {
    EXPECT_EQ(enter(first), 3);
    EXPECT_EQ(enter(second, 1), 1);
    EXPECT_EQ(enter(far, 1), 1);
    EXPECT_EQ(visitors.connectionsOf(first), 3U);
}

TEST_F(VisitorsTest, LeaveRoomForThoseWhoAreNotCounted) {
    EXPECT_EQ(enter(first), 3);
    EXPECT_EQ(enter(second), 2);
    EXPECT_EQ(enter(far), 0);
    const auto own = oneOfPair();
    EXPECT_TRUE(visitors.admit(own.get(), std::nullopt));
}

TEST_F(VisitorsTest, AreLetInAgainWhenTheyHaveLeft) {
    EXPECT_EQ(enter(first), 3);
    connections.pop_back();
    EXPECT_EQ(enter(first), 1);
    connections.clear();
    EXPECT_EQ(visitors.connectionsOf(first), 0U);
    EXPECT_EQ(enter(first), 3);
}

TEST_F(VisitorsTest, AreToldFromThoseWhoHaveTheirDescriptorNow) {
    EXPECT_EQ(enter(first), 3);
    connections.clear();
    const auto other = oneOfPair();  // has a number of before, as an outgoing connection would
    now += 1s;
    EXPECT_TRUE(visitors.charge(other.get(), 100000));
    EXPECT_TRUE(visitors.admit(other.get(), second));
    EXPECT_EQ(visitors.connectionsOf(first), 0U);
    EXPECT_EQ(visitors.connectionsOf(second), 1U);
}

TEST_F(VisitorsTest, AreSaidOfOnceInAWhileWhenTheyAreTurnedAway) {
    enter(first);
    for (int i = 0; i < 50; ++i) {
        enter(first);
        now -= 1s;
    }
    ASSERT_THAT(warnings, SizeIs(1));
    EXPECT_EQ(warnings.front(),
              "turned away a connection of user 1001: he may have 3, and all that are counted 5");
    now += 10s;
    enter(first);
    ASSERT_THAT(warnings, SizeIs(2));
    EXPECT_THAT(warnings.back(), HasSubstr("(51 times)"));
}

TEST_F(VisitorsTest, HaveSoManyBytesWaitingWhateverTheConnection) {
    enter(first, 2);
    EXPECT_TRUE(visitors.charge(connections[0].get(), 600));
    EXPECT_TRUE(visitors.charge(connections[1].get(), 400));
    EXPECT_FALSE(visitors.charge(connections[1].get(), 1));
    enter(second, 1);
    EXPECT_TRUE(visitors.charge(last(), 1000));
    ASSERT_THAT(warnings, SizeIs(1));
    EXPECT_EQ(warnings.front(),
              "no more is taken from or kept for user 1001: 1000 bytes of his wait already");
}

TEST_F(VisitorsTest, HaveRoomAgainForWhatWasLookedAt) {
    enter(first, 1);
    EXPECT_TRUE(visitors.charge(last(), 1000));
    visitors.credit(last(), 300);
    EXPECT_TRUE(visitors.charge(last(), 300));
    EXPECT_FALSE(visitors.charge(last(), 1));
    visitors.credit(last(), 5000);  // more than there was
    EXPECT_TRUE(visitors.charge(last(), 1000));
    EXPECT_FALSE(visitors.charge(last(), 1));
}

// What he has sent is still there, and is nobody's if nobody looks at it.
TEST_F(VisitorsTest, LeaveBehindWhatWaitsForAWhile) {
    room.waitingBytes = 3 << 20;
    enter(first, 2);
    EXPECT_TRUE(visitors.charge(last(), room.waitingBytes));
    connections.pop_back();
    now += 1ms;
    EXPECT_FALSE(visitors.charge(last(), 1 << 20));
    now += 1s;
    EXPECT_TRUE(visitors.charge(last(), 900 << 10));
    EXPECT_FALSE(visitors.charge(last(), 1 << 20));
    visitors.credit(last(), 1 << 20);  // some of it was looked at
    EXPECT_TRUE(visitors.charge(last(), 1 << 20));
}

TEST_F(VisitorsTest, MayAskSoOften) {
    const auto pair = newPair();
    ASSERT_TRUE(visitors.admit(pair.ours.get(), first));
    enter(first, 1);
    int count = 0;
    while (count < 100 && visitors.mayAsk(pair.ours.get())) {
        EXPECT_FALSE(isShutDown(pair.his));
        ++count;
    }
    EXPECT_EQ(count, 20);
    EXPECT_TRUE(isShutDown(pair.his));
    EXPECT_FALSE(visitors.mayAsk(connections[0].get()));
    enter(second, 1);
    EXPECT_TRUE(visitors.mayAsk(last()));
    now += 10s;
    EXPECT_FALSE(visitors.mayAsk(connections[0].get())) << "it has been ended";
    EXPECT_EQ(enter(first, 1), 1);
    EXPECT_TRUE(visitors.mayAsk(last()));
    EXPECT_THAT(warnings,
                testing::Contains("ended a connection of user 1001: he may ask 10 times a second"));
}

TEST_F(VisitorsTest, MayComeSoOften) {
    room.connections = 50;
    room.allConnections = 100;
    int count = 0;
    for (; count < 1000 && enter(first, 1) == 1; ++count) {
        connections.clear();
        now -= 1s;
        now += 10ms;
    }
    EXPECT_GE(count, 100);
    EXPECT_LT(count, 400);
    EXPECT_THAT(warnings,
                testing::Contains("turned away a connection of user 1001: he comes too often"));
    now += 10s;
    EXPECT_EQ(enter(first, 1), 1);
}

// Signs of life belong to no message that somebody looks at.
TEST_F(VisitorsTest, AreForgivenALittleWithTime) {
    room.waitingBytes = 100000;
    enter(first, 1);
    EXPECT_TRUE(visitors.charge(last(), 100000));
    EXPECT_FALSE(visitors.charge(last(), 1));
    now += 10s;
    EXPECT_FALSE(visitors.charge(last(), 20000));
    EXPECT_TRUE(visitors.charge(last(), 10000));
}

TEST_F(VisitorsTest, AreNobodyWhereNobodyIsCounted) {
    const auto own = oneOfPair();
    EXPECT_TRUE(visitors.admit(own.get(), std::nullopt));
    EXPECT_FALSE(visitors.areCounted());
    EXPECT_TRUE(visitors.charge(own.get(), 1000000));
    EXPECT_THAT(warnings, IsEmpty());
}

TEST(VisitorTest, IsWhoSentAMessageUnlessItIsOneOfOurs) {
    using Kind = Visitor::Kind;
    const auto ofUser = [](uid_t user) {
        Peer peer;
        peer.transport = Transport::Ipc;
        peer.user.emplace().user = user;
        return visitorOf(peer);
    };
    const auto at = [](const std::string& address, const std::string& key = {}) {
        return visitorOf({.transport = Transport::Tcp, .user = {}, .key = key, .address = address});
    };
    EXPECT_EQ(ofUser(::geteuid() + 1), Visitor::OfUser(::geteuid() + 1));
    EXPECT_EQ(ofUser(::geteuid()), std::nullopt);
    EXPECT_EQ(ofUser(0), std::nullopt);
    EXPECT_EQ(at("127.0.0.1"), std::nullopt);
    EXPECT_EQ(at("::1"), std::nullopt);
    EXPECT_EQ(at("10.0.0.7"), Visitor::AtAddress("10.0.0.7"));
    EXPECT_EQ(at("2001:db8::1"), at("2001:db8::ffff")) << "one network, one visitor";
    EXPECT_EQ(at("127.0.0.1", "k"), (Visitor{.kind = Kind::Key, .text = "k"}));
    EXPECT_EQ(visitorOf({}), std::nullopt);
}

TEST_F(VisitorsTest, SendSoManyBytesASecondAndMoreAtOnce) {
    room.waitingBytes = 1 << 20;
    room.bytesPerSecond = 10000;
    room.bytesAtOnce = 30000;
    enter(first, 2);
    EXPECT_TRUE(visitors.chargeRead(connections[0].get(), 20000));
    EXPECT_TRUE(visitors.chargeRead(connections[1].get(), 10000));
    EXPECT_FALSE(visitors.chargeRead(connections[0].get(), 1));
    ASSERT_THAT(warnings, SizeIs(1));
    EXPECT_EQ(warnings.front(),
              "ended a connection of user 1001: he may send 10000 bytes a second");
    now += 1s;
    EXPECT_TRUE(visitors.chargeRead(last(), 10000));
    EXPECT_FALSE(visitors.chargeRead(last(), 1));
    visitors.credit(last(), 50000);  // what was looked at makes room, and not time
    EXPECT_FALSE(visitors.chargeRead(last(), 1));
    enter(second, 1);
    EXPECT_TRUE(visitors.chargeRead(last(), 30000));
}

TEST_F(VisitorsTest, SendSoManySingleBytesASecond) {
    room.waitingBytes = 1 << 20;
    room.bytesPerSecond = 10 << 10;
    room.bytesAtOnce = 20 << 10;
    enter(first, 1);
    int count = 0;
    while (count < 100 && visitors.chargeRead(last(), 16)) {
        ++count;
    }
    EXPECT_EQ(count, 20);
}

// An end of ours has a number that was his connection's, which the library has closed.
TEST_F(VisitorsTest, WhoWereEndedAreNotMistakenForWhoHasTheirDescriptorNow) {
    enter(first, 1);
    visitors.end(last(), "enough");
    EXPECT_FALSE(visitors.chargeRead(last(), 1));
    const int number = last();
    connections.clear();
    const auto own = oneOfPair();
    ASSERT_EQ(own.get(), number);
    EXPECT_TRUE(visitors.chargeRead(number, 1));
    EXPECT_TRUE(visitors.chargeRead(number, 1000));
}

TEST_F(VisitorsTest, WhoSendTooMuchAreNotMistakenForWhoHasTheirDescriptorNow) {
    room.bytesAtOnce = 2000;
    enter(first, 1);
    EXPECT_TRUE(visitors.chargeRead(last(), 1));
    EXPECT_FALSE(visitors.chargeRead(last(), 1));
    const int number = last();
    connections.clear();
    const auto own = oneOfPair();
    ASSERT_EQ(own.get(), number);
    EXPECT_TRUE(visitors.chargeRead(number, 1));
}

// A device on another machine says as much as it has to say.
TEST_F(VisitorsTest, FromOtherMachinesSendWhatThereIsRoomFor) {
    room.bytesPerSecond = 1;
    room.bytesAtOnce = 1;
    enter(far, 1);
    EXPECT_TRUE(visitors.chargeRead(last(), 1000));
    EXPECT_FALSE(visitors.chargeRead(last(), 1));
}

TEST_F(VisitorsTest, LoseTheirConnectionWhenTooManyOfTheirRequestsWait) {
    const auto pair = newPair();
    ASSERT_TRUE(visitors.admit(pair.ours.get(), first));
    EXPECT_TRUE(visitors.mayAsk(pair.ours.get(), 19));
    EXPECT_FALSE(isShutDown(pair.his));
    EXPECT_FALSE(visitors.mayAsk(pair.ours.get(), 20));
    EXPECT_TRUE(isShutDown(pair.his));
    ASSERT_THAT(warnings, SizeIs(1));
    EXPECT_EQ(warnings.front(), "ended a connection of user 1001: 20 requests of his wait already");
}

TEST_F(VisitorsTest, AreKnownByTheirConnections) {
    enter(first, 1);
    EXPECT_EQ(visitors.visitorBy(last()), first);
    EXPECT_EQ(visitors.visitorBy(-1), std::nullopt);
    const auto own = oneOfPair();
    EXPECT_EQ(visitors.visitorBy(own.get()), std::nullopt);
}

}  // namespace tarn::socket
