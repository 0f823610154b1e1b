#include "platform/socket/IpcListener.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <thread>

#include "platform/os/GroupFile.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::socket::test {

namespace {

/// Whoever starts the program has left everything open to everybody.
class NoMask {
  public:
    NoMask() : before(::umask(0)) {}
    ~NoMask() { ::umask(before); }
    NoMask(const NoMask&) = delete;
    NoMask& operator=(const NoMask&) = delete;

  private:
    const mode_t before;
};

class IpcListenerTest : public testing::Test {
  protected:
    /// 0 while there is no file.
    mode_t mode() const {
        struct stat is {};
        return ::lstat(path.c_str(), &is) == 0 ? is.st_mode & 07777U : 0;
    }

    // Where this machine has no such group, clients are no others than our own programs.
    static mode_t modeForClients() { return os::groupIdOf(groupOfClients) ? 0660 : 0600; }

    const NoMask noMask;
    const tarn::test::TemporaryFolder folder;
    const std::string path = (folder.path() / "socket").string();
    const SocketEndpoint endpoint{Transport::Ipc, path, 0};
};

TEST_F(IpcListenerTest, TheFileIsForItsAudienceWhateverTheMask) {
    {
        const auto listener = listenOnIpcPath(path, Audience::OwnPrograms);
        EXPECT_EQ(mode(), 0600U);
    }
    const auto listener = listenOnIpcPath(path, Audience::Clients);
    EXPECT_EQ(mode(), modeForClients());
}

TEST_F(IpcListenerTest, TheFileOfAnOpenSocketIsClosedUnlessItIsForClients) {
    {
        const auto answering = open(Protocol::Reply, endpoint);
        EXPECT_EQ(mode(), 0600U);
    }
    Socket forClients("for clients", ClosePolicy::Discard);
    forClients.setAudience(Audience::Clients);
    forClients.createAndConnect(Protocol::Reply, endpoint, 0);
    EXPECT_EQ(mode(), modeForClients());
}

TEST_F(IpcListenerTest, TheFileIsAtNoMomentForOthers) {
    std::atomic<mode_t> seen = 0;
    std::jthread watch([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            seen |= mode();
        }
    });
    for (int i = 0; i < 300; ++i) {
        const auto answering = open(Protocol::Reply, endpoint);
    }
    watch.request_stop();
    watch.join();
    EXPECT_EQ(seen, 0600U);
}

TEST_F(IpcListenerTest, ASocketHearsOnEveryFileItIsBoundTo) {
    const SocketEndpoint second{Transport::Ipc, path + "2", 0};
    const SocketEndpoint third = tcpEndpoint();
    const auto pulling = open(Protocol::Pull, endpoint);
    pulling->connect(second, 0);
    pulling->connect(third, 0);
    for (const auto& each : {endpoint, second, third}) {
        const auto pushing = open(Protocol::Push, each, patienceMs, ClosePolicy::Flush);
        send(*pushing, each.toString(Protocol::None));
        EXPECT_EQ(receive(*pulling), each.toString(Protocol::None));
    }
}

TEST_F(IpcListenerTest, APathThatIsTooLongIsRefused) {
    EXPECT_THROW(listenOnIpcPath(path + std::string(200, 'x'), Audience::OwnPrograms),
                 std::runtime_error);
}

}  // namespace

}  // namespace tarn::socket::test
