#include "platform/socket/NobodyListens.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/os/FileDescriptor.h"
#include "platform/socket/Socket.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::socket {

using namespace std::chrono_literals;
using test::tcpEndpoint;

namespace {

class NobodyListensTest : public testing::Test {
  protected:
    /// A socket at the path; who listens on it is up to the caller.
    os::FileDescriptor bound() const {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        os::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(
            ::bind(socket.get(), static_cast<const sockaddr*>(static_cast<const void*>(&address)),
                   sizeof address),
            0);
        return os::FileDescriptor(::dup(socket.get()));
    }

    std::optional<std::string> why(const std::string& endpoint) const {
        return whyNobodyListens(SocketEndpoint::FromString(endpoint), 60s);
    }

    const tarn::test::TemporaryFolder folder;
    const std::string path = folder.path() / "socket";
    const std::string ipc = "ipc://" + path;
};

}  // namespace

TEST_F(NobodyListensTest, WhereThereIsNoFile) {
    EXPECT_EQ(why(ipc), "nobody listens on " + ipc);
}

TEST_F(NobodyListensTest, WhereAFileWasLeftBehind) {
    const auto left = bound();
    EXPECT_EQ(why(ipc), "nobody listens on " + ipc);
}

TEST_F(NobodyListensTest, IsNotSaidOfAListenerAndDoesNotDisturbIt) {
    Socket socket("listener", ClosePolicy::Discard);
    socket.createAndConnect(Protocol::Reply, SocketEndpoint::FromString(ipc), 0);
    EXPECT_EQ(why(ipc), std::nullopt);
    std::string error;
    EXPECT_EQ(socket.poll(0, error), 1) << error;
}

TEST_F(NobodyListensTest, IsNotSaidOfAListenerWhoseQueueIsFull) {
    const auto listener = bound();
    ASSERT_EQ(::listen(listener.get(), 0), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(why(ipc), std::nullopt);
    }
}

TEST_F(NobodyListensTest, WhereTheFileIsNoSocketToConnectTo) {
    EXPECT_EQ(why("ipc://" + folder.path().string()),
              "nobody listens on ipc://" + folder.path().string());
    EXPECT_EQ(why("ipc://" + folder.write("file", "") + "/x"),
              "cannot connect to ipc://" + folder.path().string() + "/file/x: Not a directory");
}

TEST_F(NobodyListensTest, OnAPortThatRefuses) {
    const auto endpoint = tcpEndpoint();
    EXPECT_EQ(whyNobodyListens(endpoint, 60s),
              "nobody listens on " + endpoint.toString(Protocol::None));
    Socket socket("listener", ClosePolicy::Discard);
    socket.createAndConnect(Protocol::Reply, endpoint, 0);
    EXPECT_EQ(whyNobodyListens(endpoint, 60s), std::nullopt);
}

TEST_F(NobodyListensTest, IsNotKnownInTheProcessItself) {
    EXPECT_EQ(why("inproc://nobody"), std::nullopt);
}

}  // namespace tarn::socket
