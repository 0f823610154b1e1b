#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "platform/os/FileDescriptor.h"
#include "tests/platform/socket/SocketTestSupport.h"
#include "tests/support/LogCapture.h"

namespace tarn::socket::test {

namespace {

constexpr rlim_t reserve = 64;

/// Connections to an IPC endpoint that say nothing, made outside of what the limit counts: a
/// descriptor that is open already stays open when the limit goes below it.
class DescriptorReserveTest : public testing::Test {
  protected:
    DescriptorReserveTest() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        for (int i = 0; i < 200; ++i) {  // below that the reserve is smaller
            others.push_back(std::make_unique<os::FileDescriptor>(::dup(0)));
        }
        for (int i = 0; i < 100; ++i) {
            clients.push_back(std::make_unique<os::FileDescriptor>(
                ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)));
        }
    }
    ~DescriptorReserveTest() override { ::setrlimit(RLIMIT_NOFILE, &before); }

    static int lowestFree() { return os::FileDescriptor(::dup(0)).get(); }

    void leaveDescriptors(rlim_t count) const {
        rlimit few = before;
        few.rlim_cur = static_cast<rlim_t>(lowestFree()) + count;
        ASSERT_GE(few.rlim_cur, 4 * reserve);
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    }

    void connectAll() const {
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        endpoint.toString(Protocol::None).substr(6).copy(address.sun_path, 100);
        for (const auto& client : clients) {
            ::connect(client->get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        }
    }

    /// Some were let in, and none into the reserve.
    void expectReserveIsLeft() const {
        const int greeted = countGreeted();
        EXPECT_GT(greeted, 0);
        EXPECT_LT(greeted, 30);
        rlimit now{};
        ::getrlimit(RLIMIT_NOFILE, &now);
        EXPECT_LE(static_cast<rlim_t>(lowestFree()) + reserve, now.rlim_cur);
    }

    // What greets a client and what closes its connection both come from the library's thread.
    int countGreeted() const {
        int greeted = 0;
        for (const auto& client : clients) {
            pollfd input{client->get(), POLLIN, 0};
            char byte = 0;
            greeted += ::poll(&input, 1, 5000) == 1 && ::read(client->get(), &byte, 1) == 1;
        }
        return greeted;
    }

    rlimit before{};
    const SocketEndpoint endpoint = ipcEndpoint();
    std::vector<std::unique_ptr<os::FileDescriptor>> others;
    std::vector<std::unique_ptr<os::FileDescriptor>> clients;
};

TEST_F(DescriptorReserveTest, IsNotGivenToClients) {
    const auto server = open(Protocol::Reply, endpoint);
    const auto client = open(Protocol::Request, endpoint, patienceMs);
    leaveDescriptors(reserve + 10);
    connectAll();
    expectReserveIsLeft();
    // Who is in is served.
    send(*client, "question");
    EXPECT_EQ(receive(*server), "question");
    send(*server, "answer");
    EXPECT_EQ(receive(*client), "answer");
}

TEST_F(DescriptorReserveTest, LetsClientsInAgainWhenOthersHaveLeft) {
    const auto server = open(Protocol::Reply, endpoint);
    leaveDescriptors(reserve + 10);
    connectAll();
    expectReserveIsLeft();
    clients.clear();
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_NO_THROW(open(Protocol::Request, endpoint, patienceMs));
}

TEST_F(DescriptorReserveTest, SaysOnceThatClientsWereTurnedAway) {
    const tarn::test::LogCapture log;
    const auto server = open(Protocol::Reply, endpoint);
    leaveDescriptors(reserve + 10);
    connectAll();
    expectReserveIsLeft();
    EXPECT_TRUE(log.waitFor("WARN Sockets > turned away "));  // though who listens sleeps
    for (int i = 0; i < 10; ++i) {
        poll(*server, 0);
    }
    EXPECT_EQ(log.lines().size(), 1U);
}

// Without any descriptor left, the library would end the process.
TEST_F(DescriptorReserveTest, SurvivesThatOthersHaveTakenItAll) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer takes a pipe to look at an object, and ends the process without";
#endif
    const auto server = open(Protocol::Reply, endpoint);
    const auto client = open(Protocol::Request, endpoint, patienceMs);
    leaveDescriptors(0);
    connectAll();
    send(*client, "question");
    EXPECT_EQ(receive(*server), "question");
}

}  // namespace

}  // namespace tarn::socket::test
