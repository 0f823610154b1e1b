#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "platform/socket/Exchange.h"
#include "platform/socket/KeptIpcName.h"
#include "platform/socket/NobodyListens.h"
#include "platform/socket/zmq/RefusedListeners.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/ImpostorSocket.h"

namespace tarn::socket::test {

namespace {

namespace fs = std::filesystem;
using tarn::test::asUser;
using tarn::test::ImpostorSocket;
using testing::AllOf;
using testing::HasSubstr;
using testing::Optional;
using testing::ThrowsMessage;

class ImpostorTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!tarn::test::canBeOthers()) {
            GTEST_SKIP() << "there is one user only";
        }
        fs::permissions(folder.path(), fs::perms::all | fs::perms::sticky_bit);
    }

    void expectTaken(const std::string& what) {
        EXPECT_THAT([&] { open(Protocol::Reply, endpoint); },
                    ThrowsMessage<std::runtime_error>(AllOf(
                        HasSubstr("cannot listen on ipc://" + path + ": "), HasSubstr(what),
                        HasSubstr("; it belongs to user 61001: end what made it, and remove it"))));
    }

    const tarn::test::LogCapture log;
    const tarn::test::TemporaryFolder folder;
    const std::string path = (folder.path() / "socket").string();
    const SocketEndpoint endpoint{Transport::Ipc, path, 0};
    const std::string notTrusted =
        "cannot connect to ipc://" + path + ": it belongs to user 61001, ";
};

TEST_F(ImpostorTest, WhoWaitsForAConnectionIsToldAtOnce) {
    const ImpostorSocket impostor(path);
    for (const auto protocol : {Protocol::Request, Protocol::Push, Protocol::Subscribe}) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_THAT([&] { open(protocol, endpoint, patienceMs); },
                    ThrowsMessage<std::runtime_error>(HasSubstr(notTrusted)));
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(patienceMs));
    }
    EXPECT_EQ(impostor.loot(), "");
}

TEST_F(ImpostorTest, SoIsWhoWaitsWhenTheImpostorComes) {
    Socket socket("caller", ClosePolicy::Discard);
    const auto hidden = (folder.path() / "hidden").string();
    const ImpostorSocket impostor(hidden);
    // Before the attempt or during it, as it happens.
    const std::jthread late([&] { fs::rename(hidden, path); });
    EXPECT_THAT([&] { socket.createAndConnect(Protocol::Request, endpoint, patienceMs); },
                ThrowsMessage<std::runtime_error>(HasSubstr(notTrusted)));
}

TEST_F(ImpostorTest, WhatIsSentWithoutWaitingDoesNotReachAnImpostorButWhoeverIsRight) {
    auto impostor = std::make_unique<ImpostorSocket>(path);
    const auto push = open(Protocol::Push, endpoint);
    send(*push, "secret");
    EXPECT_TRUE(log.waitFor("not connected to " + path + ": it belongs to user 61001, "));
    EXPECT_EQ(impostor->loot(), "");
    impostor.reset();
    const auto pull = open(Protocol::Pull, endpoint);
    EXPECT_EQ(receive(*pull), "secret");
}

TEST_F(ImpostorTest, WhoListensCountsAndNotWhoseTheFileIs) {
    const ImpostorSocket impostor(path, ImpostorSocket::File::Ours);
    const auto push = open(Protocol::Push, endpoint);
    send(*push, "secret");
    EXPECT_TRUE(log.waitFor("user 61001 listens there"));
    EXPECT_EQ(impostor.loot(), "");
}

TEST_F(ImpostorTest, WhoComesAfterTheRightOneGetsNothing) {
    auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    send(*push, "1");
    EXPECT_EQ(receive(*pull), "1");
    pull.reset();
    const ImpostorSocket impostor(path);
    send(*push, "2");
    EXPECT_TRUE(log.waitFor("not connected to " + path));
    EXPECT_EQ(impostor.loot(), "");
}

TEST_F(ImpostorTest, WhoAsksInVainIsToldOfHim) {
    const ImpostorSocket impostor(path);
    EXPECT_THAT(whyNobodyListens(endpoint, std::chrono::seconds(1)),
                Optional(HasSubstr(notTrusted)));
    const auto socket = open(Protocol::Request, endpoint);
    const Message request = message("x");
    Message reply;
    EXPECT_THAT(
        [&] {
            exchange(*socket, request, reply, maxBytes,
                     {.within = std::chrono::seconds(20), .looks = {.at = &endpoint}});
        },
        ThrowsMessage<NoAnswer>(HasSubstr(notTrusted)));
}

TEST_F(ImpostorTest, ANameThatAnotherListensOnIsHis) {
    const ImpostorSocket impostor(path);
    expectTaken("a socket is in the way");
    EXPECT_TRUE(fs::is_socket(path));
}

TEST_F(ImpostorTest, ANameWithAnythingOfAnothersIsHis) {
    const auto as = [](const std::function<void()>& work) {
        asUser(tarn::test::OtherUser().user, work);
    };
    as([&] { std::ofstream(path) << "x"; });
    expectTaken("a file that is no socket is in the way");
    fs::remove(path);
    as([&] { fs::create_directory(path); });
    expectTaken("a file that is no socket is in the way");
    fs::remove(path);
    as([&] { fs::create_symlink("/tmp/elsewhere", path); });
    expectTaken("a file that is no socket is in the way");
    fs::remove(path);
    as([&] { EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0); });
    expectTaken("a file that is no socket is in the way");
}

TEST(KeptNameTest, APipeOfOursKeepsTheNameAndIsReplaced) {
    const auto endpoint = ipcEndpoint();
    const auto path = "/tmp/" + endpoint.host();
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const auto pull = open(Protocol::Pull, endpoint);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    send(*push, "x");
    EXPECT_EQ(receive(*pull), "x");
    pull->close();
    fs::remove(path);
}

TEST(KeptNameTest, OneThatIsKeptForGoodIsKeptOnWhenItsHolderLeaves) {
    const auto endpoint = ipcEndpoint();
    const auto path = "/tmp/" + endpoint.host();
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    for (int i = 0; i < 2; ++i) {
        auto pull = open(Protocol::Pull, endpoint);
        EXPECT_TRUE(fs::is_socket(path));
        pull.reset();
        EXPECT_TRUE(fs::is_fifo(path));
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    }
    // A file that came instead is somebody's.
    auto pull = open(Protocol::Pull, endpoint);
    fs::remove(path);
    std::ofstream(path) << "precious";
    pull.reset();
    EXPECT_TRUE(fs::is_regular_file(path));
    fs::remove(path);
}

TEST(KeptNameTest, OneThatIsKeptUntilSomebodyComesIsFreeWhenHeLeaves) {
    const auto endpoint = ipcEndpoint();
    const KeptIpcName kept(endpoint);
    open(Protocol::Pull, endpoint).reset();
    EXPECT_FALSE(fs::exists("/tmp/" + endpoint.host()));
}

TEST(KeptNameTest, IsFreeAgainWhereNobodyCame) {
    const auto endpoint = ipcEndpoint();
    const auto path = "/tmp/" + endpoint.host();
    {
        const KeptIpcName kept(endpoint);
        EXPECT_TRUE(fs::is_fifo(path));
        const KeptIpcName again(endpoint);
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST(KeptNameTest, IsLeftToWhoCame) {
    const auto endpoint = ipcEndpoint();
    auto kept = std::make_unique<KeptIpcName>(endpoint);
    const auto pull = open(Protocol::Pull, endpoint);
    kept.reset();
    EXPECT_TRUE(fs::is_socket("/tmp/" + endpoint.host()));
}

TEST_F(ImpostorTest, WhoKnowsAKeptNameCannotTakeIt) {
    const KeptIpcName kept(endpoint);
    EXPECT_TRUE(fs::is_fifo(path));
    std::error_code error;
    asUser(tarn::test::OtherUser().user, [&] {
        EXPECT_FALSE(fs::remove(path, error));
        EXPECT_THROW(ImpostorSocket impostor(path), std::system_error);
    });
    const auto pull = open(Protocol::Pull, endpoint);
    EXPECT_TRUE(fs::is_socket(path));
}

TEST(RefusedListenersTest, EachIsWorthALineAMinute) {
    RefusedListeners refused;
    const RefusedListeners::TimePoint now{};
    EXPECT_TRUE(refused.isWorthALine("a", "why", now));
    EXPECT_FALSE(refused.isWorthALine("a", "why", now));
    EXPECT_TRUE(refused.isWorthALine("b", "why", now));
    EXPECT_TRUE(refused.isWorthALine("a", "another", now));
    EXPECT_FALSE(refused.isWorthALine("a", "why", now + std::chrono::seconds(59)));
    EXPECT_TRUE(refused.isWorthALine("a", "why", now + std::chrono::seconds(60)));
}

}  // namespace

}  // namespace tarn::socket::test
