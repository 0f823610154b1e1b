#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::socket::test {

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

class ListenTest : public testing::Test {
  protected:
    /// Binds a socket of the given type here, and leaves it.
    int bindHere(int type) {
        const int number = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
        auto* generic = static_cast<sockaddr*>(static_cast<void*>(&address));
        EXPECT_EQ(::bind(number, generic, sizeof(address)), 0);
        return number;
    }

    void expectRefused(const std::string& reason) {
        EXPECT_THAT(
            [&] { open(Protocol::Reply, endpoint); },
            ThrowsMessage<std::runtime_error>(AllOf(
                HasSubstr("cannot listen on ipc://" + path.string() + ": "), HasSubstr(reason))));
    }

    void expectUsable() {
        const auto pull = open(Protocol::Pull, endpoint);
        const auto push = open(Protocol::Push, endpoint, patienceMs);
        send(*push, "x");
        EXPECT_EQ(receive(*pull), "x");
    }

    const tarn::test::TemporaryFolder folder;
    const fs::path path = folder.path() / "socket";
    const SocketEndpoint endpoint{Transport::Ipc, path.string(), 0};
};

}  // namespace

TEST_F(ListenTest, AFileThatIsNoSocketIsKept) {
    folder.write("socket", "precious");
    expectRefused("a file that is no socket is in the way");
    EXPECT_EQ(tarn::test::readFile(path), "precious");
}

TEST_F(ListenTest, AFolderIsKept) {
    fs::create_directory(path);
    expectRefused("a file that is no socket is in the way");
    EXPECT_TRUE(fs::is_directory(path));
}

TEST_F(ListenTest, ALinkIsKept) {
    fs::create_symlink(folder.path() / "elsewhere", path);
    expectRefused("a file that is no socket is in the way");
    EXPECT_TRUE(fs::is_symlink(path));
}

TEST_F(ListenTest, ASocketFileThatWasLeftBehindIsReplaced) {
    ::close(bindHere(SOCK_STREAM));
    ASSERT_TRUE(fs::is_socket(path));
    expectUsable();
}

TEST_F(ListenTest, ASocketOnWhichSomebodyListensIsKept) {
    const int listening = bindHere(SOCK_STREAM);
    ASSERT_EQ(::listen(listening, 1), 0);
    // The second and third refusal find the queue of those who wait to be accepted full.
    for (int i = 0; i < 3; ++i) {
        expectRefused("address already in use");
    }
    EXPECT_TRUE(fs::is_socket(path));
    ::close(listening);
    expectUsable();
}

TEST_F(ListenTest, ASocketOfAnotherKindIsKept) {
    const int datagrams = bindHere(SOCK_DGRAM);
    expectRefused("address already in use");
    ::close(datagrams);
}

TEST_F(ListenTest, AFolderThatDoesNotExistIsRefused) {
    const SocketEndpoint nowhere(Transport::Ipc, (folder.path() / "no" / "socket").string(), 0);
    EXPECT_THAT([&] { open(Protocol::Pull, nowhere); },
                ThrowsMessage<std::runtime_error>(HasSubstr(nowhere.toString(Protocol::None))));
}

TEST_F(ListenTest, AnAddressOfAnotherMachineIsRefused) {
    const SocketEndpoint foreign(Transport::Tcp, "192.0.2.1", 5000);
    EXPECT_THAT([&] { open(Protocol::Pull, foreign); },
                ThrowsMessage<std::runtime_error>(HasSubstr("tcp://192.0.2.1:5000")));
}

TEST_F(ListenTest, TheFileIsRemovedOnClosing) {
    auto pull = open(Protocol::Pull, endpoint);
    EXPECT_TRUE(fs::is_socket(path));
    pull->close();
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(ListenTest, AFileThatCameInsteadOfTheSocketIsKept) {
    auto pull = open(Protocol::Pull, endpoint);
    fs::remove(path);
    folder.write("socket", "precious");
    pull->close();
    EXPECT_EQ(tarn::test::readFile(path), "precious");
}

TEST_F(ListenTest, OfTwoThatComeAtOnceOneListens) {
    for (int i = 0; i < 200; ++i) {
        ::close(bindHere(SOCK_STREAM));
        std::array<std::unique_ptr<Socket>, 2> sockets;
        const auto listen = [&](std::unique_ptr<Socket>& socket) {
            try {
                socket = open(Protocol::Pull, endpoint);
            } catch (const std::runtime_error& failure) {
                EXPECT_THAT(failure.what(), HasSubstr("address already in use"));
            }
        };
        std::thread other([&] { listen(sockets[0]); });
        listen(sockets[1]);
        other.join();
        EXPECT_NE(sockets[0] == nullptr, sockets[1] == nullptr);
        EXPECT_TRUE(fs::is_socket(path));
        sockets = {};
    }
}

TEST_F(ListenTest, OneSocketListensOnSeveralEndpoints) {
    const auto second = tcpEndpoint();
    const auto pull = open(Protocol::Pull, endpoint);
    pull->connect(second, 0);
    EXPECT_EQ(pull->debugString(), "test socket on " + endpoint.toString(Protocol::None) + ", " +
                                       second.toString(Protocol::None));
    for (const auto& each : {endpoint, second}) {
        send(*open(Protocol::Push, each, patienceMs, ClosePolicy::Flush), each.host());
        EXPECT_EQ(receive(*pull), each.host());
    }
}

TEST_F(ListenTest, AnEndpointThatCannotBeAddedLeavesTheOthers) {
    const auto pull = open(Protocol::Pull, endpoint);
    EXPECT_THROW(pull->connect(SocketEndpoint(Transport::Tcp, "192.0.2.1", 5000), 0),
                 std::runtime_error);
    const auto push = open(Protocol::Push, endpoint, patienceMs);
    send(*push, "x");
    EXPECT_EQ(receive(*pull), "x");
}

}  // namespace tarn::socket::test
