#include "platform/access/Gatekeeper.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/support/LogCapture.h"

namespace tarn::access {

namespace {

using socket::Peer;
using socket::Transport;

Peer overIpc(uid_t user) {
    return {.transport = Transport::Ipc,
            .user = os::PeerUser{.user = user, .group = user, .process = 1, .groups = {}},
            .key = {},
            .address = {}};
}

const uid_t stranger = ::geteuid() + 61001;
const Peer unknown{.transport = Transport::Ipc, .user = {}, .key = {}, .address = {}};
const Peer overTcp{.transport = Transport::Tcp, .user = {}, .key = {}, .address = "127.0.0.1"};

class GatekeeperTest : public testing::Test {
  protected:
    const test::LogCapture log;
    std::chrono::steady_clock::time_point now;
    Gatekeeper gatekeeper{"Door > ", [this] { return now; }};
};

TEST_F(GatekeeperTest, LetsThoseInWhoHaveTheLevel) {
    for (const auto& peer : {Peer{}, overIpc(0), overIpc(::geteuid()), overTcp}) {
        EXPECT_FALSE(gatekeeper.refusal(Level::Admin, peer, "x"));
        EXPECT_FALSE(gatekeeper.refusalOfOthers(peer, "x"));
    }
    EXPECT_FALSE(gatekeeper.refusal(Level::None, overIpc(stranger), "x"));
}

TEST_F(GatekeeperTest, TellsTheOthersWhatIsNeededAndWhatTheyHave) {
    const auto who = std::to_string(stranger);
    EXPECT_EQ(gatekeeper.refusal(Level::Operate, overIpc(stranger), "x"),
              "Access denied: this needs the level operate, and user " + who + " has none");
    EXPECT_EQ(
        gatekeeper.refusalOfOthers(overIpc(stranger), "x"),
        "Access denied: this is for the service's own programs, and user " + who + " is another");
}

TEST_F(GatekeeperTest, WhoIsNotKnownOverIpcHasNoLevel) {
    EXPECT_EQ(levelOf(unknown), Level::None);
    EXPECT_EQ(gatekeeper.refusal(Level::Read, unknown, "x"),
              "Access denied: this needs the level read, and who asks has none");
    EXPECT_TRUE(gatekeeper.refusalOfOthers(unknown, "x"));
}

TEST_F(GatekeeperTest, LogsOnceASecondHowOftenItRefused) {
    for (int i = 0; i < 100; ++i) {
        gatekeeper.refusal(Level::Read, overIpc(stranger), "GET_INFO");
    }
    now += std::chrono::seconds(1);
    gatekeeper.refusal(Level::Read, overIpc(stranger), "GET_INFO");
    const auto line = "WARN Door > GET_INFO: Access denied: this needs the level read, and user " +
                      std::to_string(stranger) + " has none";
    EXPECT_THAT(log.lines(),
                testing::ElementsAre(line, line + " (and 99 times before, not logged)"));
}

}  // namespace

}  // namespace tarn::access
