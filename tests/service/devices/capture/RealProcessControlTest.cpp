#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <system_error>
#include <thread>

#include "platform/os/FileDescriptor.h"
#include "platform/socket/Socket.h"
#include "service/devices/capture/ProcessControl.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/Process.h"

namespace tarn::service::devices {

using namespace std::chrono_literals;
using Control = RealProcessControl;

class RealProcessControlTest : public testing::Test {
  protected:
    /// Dead, and not reaped: the test is its parent.
    void die() {
        child.signal(SIGKILL);
        siginfo_t ended{};
        ::waitid(P_PID, static_cast<id_t>(child.id()), &ended, WEXITED | WNOWAIT);
    }

    test::Process child{{"sleep", "1000"}};
    RealProcessControl control;
};

TEST_F(RealProcessControlTest, TellsWhetherAProcessRuns) {
    const auto process = control.identify(child.id());
    EXPECT_EQ(control.stateOf(process), Control::State::Running);
    die();
    EXPECT_EQ(control.stateOf(process), Control::State::Unreaped);
    child.wait();
    EXPECT_EQ(control.stateOf(process), Control::State::Gone);
}

TEST_F(RealProcessControlTest, TellsAProcessFromALaterOneWithItsId) {
    auto process = control.identify(child.id());
    --process.startTime;
    EXPECT_EQ(control.stateOf(process), Control::State::Another);
    EXPECT_FALSE(control.kill(process));
    EXPECT_EQ(control.stateOf(control.identify(child.id())), Control::State::Running);
}

TEST_F(RealProcessControlTest, KillsAProcessOnce) {
    const auto process = control.identify(child.id());
    EXPECT_TRUE(control.kill(process));
    EXPECT_EQ(child.wait().signal, SIGKILL);
    EXPECT_FALSE(control.kill(process));
}

TEST_F(RealProcessControlTest, WaitsForTheEndOfAProcess) {
    const auto process = control.identify(child.id());
    const auto begin = std::chrono::steady_clock::now();
    const std::jthread killer([&] { control.kill(process); });
    control.awaitEnd(process, 20s, std::stop_token());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    EXPECT_NE(control.stateOf(process), Control::State::Running);
}

TEST_F(RealProcessControlTest, WaitsNoLongerThanItWasTold) {
    const auto process = control.identify(child.id());
    const auto begin = std::chrono::steady_clock::now();
    control.awaitEnd(process, 50ms, std::stop_token());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 50ms);
}

TEST_F(RealProcessControlTest, DoesNotWaitOnceAStopIsRequested) {
    const auto process = control.identify(child.id());
    std::stop_source stop;
    stop.request_stop();
    const auto begin = std::chrono::steady_clock::now();
    control.awaitEnd(process, 20s, stop.get_token());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST_F(RealProcessControlTest, TellsWhoListensOnAPortOfVersionSixAndNotWhoHoldsItOnly) {
    const int listening = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (listening < 0 || ::bind(listening, generic, size) != 0) {
        GTEST_SKIP() << "there is no such protocol here";
    }
    ::getsockname(listening, generic, &size);
    const auto endpoint =
        socket::SocketEndpoint(socket::Transport::Tcp, "[::1]", ntohs(address.sin6_port));
    EXPECT_EQ(control.holds(::getpid(), endpoint), Control::Holding::Unknown);
    ::listen(listening, 1);
    EXPECT_EQ(control.holds(::getpid(), endpoint), Control::Holding::Holds);
    EXPECT_EQ(control.holds(child.id(), endpoint), Control::Holding::HoldsNot);
    ::close(listening);
}

class EndpointsTest : public testing::TestWithParam<const char*> {
  protected:
    const socket::SocketEndpoint endpoint = socket::SocketEndpoint::FromString(
        GetParam() == std::string("Ipc") ? test::uniqueEndpoint() : test::freeTcpEndpoint());
    test::Process child{{"sleep", "1000"}};
    RealProcessControl control;
};

TEST_P(EndpointsTest, AreHeldByWhoListensThere) {
    EXPECT_EQ(control.holds(::getpid(), endpoint), Control::Holding::Unknown);
    socket::Socket server("test", socket::ClosePolicy::Discard);
    server.createAndConnect(socket::Protocol::Reply, endpoint, 0);
    EXPECT_EQ(control.holds(::getpid(), endpoint), Control::Holding::Holds);
    EXPECT_EQ(control.holds(child.id(), endpoint), Control::Holding::HoldsNot);
    EXPECT_NE(control.holds(0x7fffffff, endpoint), Control::Holding::Holds);
}

TEST_P(EndpointsTest, AreListenedToOrNot) {
    EXPECT_FALSE(control.isListenedTo(endpoint));
    socket::Socket server("test", socket::ClosePolicy::Discard);
    server.createAndConnect(socket::Protocol::Reply, endpoint, 0);
    EXPECT_TRUE(control.isListenedTo(endpoint));
}

INSTANTIATE_TEST_SUITE_P(All, EndpointsTest, testing::Values("Ipc", "Tcp"),
                         [](const auto& tested) { return std::string(tested.param); });

/// A process that holds a socket which listens, and does nothing else.
class Holder {
  public:
    /// `address` is of a Unix or an IPv4 socket.
    template <typename Address>
    explicit Holder(const Address& address) {
        const os::FileDescriptor listener(::socket(address.Family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_storage generic{};
        std::memcpy(&generic, &address.value, sizeof address.value);
        auto* const pointer = static_cast<sockaddr*>(static_cast<void*>(&generic));
        if (::bind(listener.get(), pointer, sizeof address.value) != 0 ||
            ::listen(listener.get(), 1) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot listen");
        }
        child.emplace();
    }
    pid_t id() const { return child->id(); }

  private:
    std::optional<test::ForkedProcess> child;
};

struct UnixAddress {
    static constexpr int Family = AF_UNIX;
    explicit UnixAddress(const std::string& path) {
        value.sun_family = AF_UNIX;
        path.copy(value.sun_path, sizeof value.sun_path - 1);
    }
    sockaddr_un value{};
};

struct LoopbackAddress {
    static constexpr int Family = AF_INET;
    LoopbackAddress(const char* host, std::uint16_t port) {
        value.sin_family = AF_INET;
        value.sin_port = htons(port);
        ::inet_pton(AF_INET, host, &value.sin_addr);
    }
    sockaddr_in value{};
};

// As in another file system that has the same path.
TEST(HoldingTest, OfAnotherSocketWithTheSamePathIsNotThatOfTheEndpoint) {
    const auto endpoint = socket::SocketEndpoint::FromString(test::uniqueEndpoint());
    const auto path = endpoint.toString(socket::Protocol::None).substr(6);
    const Holder innocent((UnixAddress(path)));
    std::filesystem::remove(path);
    socket::Socket server("test", socket::ClosePolicy::Discard);
    server.createAndConnect(socket::Protocol::Reply, endpoint, 0);
    EXPECT_EQ(RealProcessControl().holds(innocent.id(), endpoint), Control::Holding::HoldsNot);
    EXPECT_EQ(RealProcessControl().holds(::getpid(), endpoint), Control::Holding::Holds);
}

TEST(HoldingTest, OfTheSamePortOfAnotherAddressIsNotThatOfTheEndpoint) {
    const auto endpoint = socket::SocketEndpoint::FromString(test::freeTcpEndpoint());
    const Holder innocent(LoopbackAddress("127.0.0.2", endpoint.port()));
    socket::Socket server("test", socket::ClosePolicy::Discard);
    server.createAndConnect(socket::Protocol::Reply, endpoint, 0);
    EXPECT_EQ(RealProcessControl().holds(innocent.id(), endpoint), Control::Holding::HoldsNot);
    EXPECT_EQ(RealProcessControl().holds(::getpid(), endpoint), Control::Holding::Holds);
}

TEST(HoldingTest, OfEveryInterfaceIsThatOfEachAddress) {
    const auto port = socket::SocketEndpoint::FromString(test::freeTcpEndpoint()).port();
    socket::Socket server("test", socket::ClosePolicy::Discard);
    const socket::SocketEndpoint every(socket::Transport::Tcp, "*", port);
    server.createAndConnect(socket::Protocol::Reply, every, 0);
    RealProcessControl control;
    EXPECT_EQ(control.holds(::getpid(), every), Control::Holding::Holds);
    for (const auto* const host : {"localhost", "127.0.0.1"}) {
        EXPECT_EQ(control.holds(::getpid(), {socket::Transport::Tcp, host, port}),
                  Control::Holding::Holds)
            << host;
    }
    EXPECT_EQ(control.holds(::getpid(), {socket::Transport::Tcp, "some-name", port}),
              Control::Holding::Unknown)
        << "names are not looked up";
}

}  // namespace tarn::service::devices
