#include "peers/loop_storage/server/Clients.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tarn::peers::loop_storage {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Via = Clients::Via;
using Standing = Presence::Standing;
using Descriptors = Clients::Descriptors;

/// Four places; who has been asked to go, by name.
struct ClientsTest : testing::Test {
    bool comes(const std::string& name, Via via, Standing standing,
               Descriptors descriptors = Descriptors::Enough) {
        const auto presence = std::make_shared<Presence>();
        presence->set(standing, now += 1s);
        return clients.add(
            clients.nextId(),
            {.via = via, .presence = presence, .close = [this, name] { gone.push_back(name); }},
            descriptors);
    }
    bool comes(const std::string& name, Via via = Via::Unix) {
        return comes(name, via, Standing::Idle);
    }

    Clients clients{4};
    std::vector<std::string> gone;
    Presence::Clock::time_point now;
};

TEST_F(ClientsTest, NobodyGoesWhileThereArePlaces) {
    for (const auto* const name : {"a", "b", "c", "d"}) {
        EXPECT_TRUE(comes(name));
    }
    EXPECT_THAT(gone, IsEmpty());
}

TEST_F(ClientsTest, WhoHasAskedForNothingForTheLongestTimeMakesRoom) {
    for (const auto* const name : {"a", "b", "c", "d", "e", "f"}) {
        EXPECT_TRUE(comes(name));
    }
    EXPECT_THAT(gone, ElementsAre("a", "b"));
}

TEST_F(ClientsTest, WhoWaitsForAnAnswerGoesOnlyWhenNobodyIsIdle) {
    comes("asking", Via::Unix, Standing::Asking);
    comes("working", Via::Unix, Standing::Working);
    comes("working", Via::Unix, Standing::Working);
    comes("idle");
    EXPECT_TRUE(comes("new", Via::Unix, Standing::Working));
    EXPECT_THAT(gone, ElementsAre("idle"));
    EXPECT_TRUE(comes("newer"));
    EXPECT_THAT(gone, ElementsAre("idle", "asking"));
}

TEST_F(ClientsTest, WhoReadsOrWritesATrackNeverGoes) {
    for (int i = 0; i < 4; ++i) {
        comes("working", Via::Unix, Standing::Working);
    }
    EXPECT_FALSE(comes("new"));
    EXPECT_EQ(clients.makeRoom(3, Standing::Asking), 0U);
    EXPECT_THAT(gone, IsEmpty());
}

TEST_F(ClientsTest, OverTcpThoseGoFirstWhoHaveMoreThanHalfOfThePlaces) {
    comes("local");
    for (const auto* const name : {"far 1", "far 2", "far 3"}) {
        comes(name, Via::Tcp);
    }
    EXPECT_TRUE(comes("new"));
    EXPECT_THAT(gone, ElementsAre("far 1")) << "the local one is idle for longer";
    EXPECT_TRUE(comes("far 4", Via::Tcp));
    EXPECT_THAT(gone, ElementsAre("far 1", "local")) << "half of the places are theirs";
}

TEST_F(ClientsTest, OneThatComesOverTcpFindsAPlaceAmongLocalOnes) {
    for (const auto* const name : {"a", "b", "c", "d"}) {
        comes(name);
    }
    EXPECT_TRUE(comes("far", Via::Tcp));
    EXPECT_THAT(gone, ElementsAre("a"));
}

TEST_F(ClientsTest, WhereDescriptorsAreScarceTwoGoThoughThereArePlaces) {
    comes("a");
    comes("b");
    comes("c", Via::Unix, Standing::Working);
    EXPECT_TRUE(comes("d", Via::Unix, Standing::Working, Descriptors::Scarce));
    EXPECT_THAT(gone, ElementsAre("a", "b"));
    EXPECT_TRUE(comes("e", Via::Unix, Standing::Idle, Descriptors::Scarce))
        << "the last ones are kept for that";
}

TEST_F(ClientsTest, ForWorkersOnlyTheIdleOnesGo) {
    comes("asking", Via::Unix, Standing::Asking);
    comes("a");
    comes("b");
    EXPECT_EQ(clients.makeRoom(3, Standing::Idle), 2U);
    EXPECT_THAT(gone, ElementsAre("a", "b"));
}

TEST_F(ClientsTest, WhoLeavesLeavesAPlace) {
    for (int i = 0; i < 4; ++i) {
        comes("working", Via::Unix, Standing::Working);
    }
    clients.remove(1);
    EXPECT_TRUE(comes("new"));
    EXPECT_THAT(gone, IsEmpty());
}

TEST_F(ClientsTest, AtTheEndAllGoAndNobodyComesIn) {
    comes("a");
    comes("b", Via::Tcp, Standing::Working);
    clients.closeAll();
    EXPECT_THAT(gone, ElementsAre("a", "b"));
    EXPECT_FALSE(comes("c"));
}

}  // namespace
}  // namespace tarn::peers::loop_storage
