#include "peers/loop_storage/server/Handshakes.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <array>
#include <boost/asio/executor_work_guard.hpp>
#include <vector>

#include "platform/os/FileDescriptor.h"
#include "tests/support/LogCapture.h"

namespace tarn::peers::loop_storage {
namespace {

namespace asio = boost::asio;
using std::chrono::milliseconds;

tls::CertifiedKey newKey() {
    const auto now = std::chrono::system_clock::now();
    return tls::generateCertifiedKey("storage", {now, now + std::chrono::hours(1)});
}

/// Clients that say nothing; all of them are in one network.
struct HandshakesTest : testing::Test {
    void comeIn(Handshakes& handshakes) {
        std::array<int, 2> ends{};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        clients.push_back(std::make_unique<os::FileDescriptor>(ends[0]));
        handshakes.begin(
            ClientStream::Socket(context, asio::generic::stream_protocol(AF_UNIX, 0), ends[1]));
    }
    /// Which clients were sent away, by the order in which they came.
    std::vector<std::size_t> gone() const {
        std::vector<std::size_t> all;
        for (std::size_t i = 0; i < clients.size(); ++i) {
            char byte = 0;
            if (::recv(clients[i]->get(), &byte, 1, MSG_DONTWAIT) == 0) {
                all.push_back(i);
            }
        }
        return all;
    }

    const test::LogCapture log;
    asio::io_context context;
    std::vector<std::unique_ptr<os::FileDescriptor>> clients;
    const tls::CertifiedKey key = newKey();
};

TEST_F(HandshakesTest, WhoComesWhenAllPlacesAreTakenGetsThatOfTheFirst) {
    Handshakes handshakes(
        context, key, [](const auto&) { return true; }, [](ClientStream, const auto&) {},
        {.atOnce = 3, .longest = std::chrono::hours(1)});
    for (int i = 0; i < 5; ++i) {
        comeIn(handshakes);
    }
    EXPECT_EQ(handshakes.count(), 3U);
    EXPECT_THAT(gone(), testing::ElementsAre(0, 1));
    EXPECT_TRUE(log.contains("is refused: it has not shown who it is, and 3 others do"));
    handshakes.stop();
    EXPECT_EQ(handshakes.count(), 0U);
    EXPECT_EQ(gone().size(), 5U);
    comeIn(handshakes);
    EXPECT_EQ(handshakes.count(), 0U);
    EXPECT_EQ(gone().size(), 6U);
}

TEST_F(HandshakesTest, WhoTakesTooLongIsSentAway) {
    Handshakes handshakes(
        context, key, [](const auto&) { return true; }, [](ClientStream, const auto&) {},
        {.atOnce = 3, .longest = milliseconds(0)});
    comeIn(handshakes);
    context.run();  // until nothing is under way any more
    EXPECT_THAT(gone(), testing::ElementsAre(0));
}

TEST_F(HandshakesTest, WhoLeavesIsForgotten) {
    Handshakes handshakes(
        context, key, [](const auto&) { return true; }, [](ClientStream, const auto&) {},
        {.atOnce = 3, .longest = std::chrono::hours(1)});
    comeIn(handshakes);
    clients.clear();
    context.run();
    EXPECT_EQ(handshakes.count(), 0U);
}

TEST_F(HandshakesTest, WhoSpeaksNoTlsIsToldSoInItsWords) {
    Handshakes handshakes(
        context, key, [](const auto&) { return true; }, [](ClientStream, const auto&) {},
        {.atOnce = 3, .longest = std::chrono::hours(1)});
    comeIn(handshakes);
    const std::string greeting = "\xf7TARNLS\n plain";
    ASSERT_GT(::send(clients[0]->get(), greeting.data(), greeting.size(), 0), 0);
    ::shutdown(clients[0]->get(), SHUT_WR);
    context.run();
    std::array<char, 16> answer{};
    EXPECT_EQ(::recv(clients[0]->get(), answer.data(), answer.size(), MSG_DONTWAIT), 7);
    EXPECT_EQ(std::string(answer.data(), 2), "\x15\x03");
    EXPECT_TRUE(log.contains("is refused: it does not speak TLS"));
}

}  // namespace
}  // namespace tarn::peers::loop_storage
