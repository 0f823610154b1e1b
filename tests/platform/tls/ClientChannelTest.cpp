#include "platform/tls/ClientChannel.h"

#include <gmock/gmock.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "platform/os/FileDescriptor.h"
#include "platform/tls/Context.h"
#include "platform/tls/OpenSsl.h"
#include "platform/tls/PeerCheck.h"

namespace tarn::tls {
namespace {

using testing::HasSubstr;

Validity thisHour() {
    const auto now = std::chrono::system_clock::now();
    return {.begin = now - std::chrono::hours(1), .end = now + std::chrono::hours(1)};
}

/// A channel at one end of a pair of sockets, and the library's own server at the other.
struct ClientChannelTest : testing::Test {
    using Serve = std::function<void(SSL*)>;

    ClientChannelTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        near = std::make_unique<os::FileDescriptor>(ends[0]);
        far = std::make_unique<os::FileDescriptor>(ends[1]);
        channel = std::make_unique<ClientChannel>(ends[0], client, server.fingerprint);
    }

    /// A server that knows the client, and then does that; the connection ends behind it.
    void serve(const Serve& what) {
        serving = std::thread([this, what] {
            const std::unique_ptr<SSL_CTX, FreeWith<SSL_CTX_free>> context(
                ::SSL_CTX_new(::TLS_server_method()));
            setUp(context.get(), server);
            const std::unique_ptr<SSL, FreeWith<SSL_free>> connection(::SSL_new(context.get()));
            PeerCheck check([this](const auto& shown) { return shown == client.fingerprint; });
            check.watch(connection.get());
            ::SSL_set_fd(connection.get(), far->get());
            if (::SSL_accept(connection.get()) == 1) {
                what(connection.get());
            }
            far = nullptr;
        });
    }
    ~ClientChannelTest() override {
        if (serving.joinable()) {
            serving.join();
        }
    }

    /// The outcome when no waiting is left; -1 with errno.
    ssize_t finish(const std::function<ssize_t()>& step) const {
        for (;;) {
            const auto result = step();
            if (result >= 0 || errno != EAGAIN) {
                return result;
            }
            pollfd ready{.fd = near->get(), .events = channel->events(), .revents = 0};
            if (::poll(&ready, 1, 10'000) != 1) {
                return -2;
            }
        }
    }
    ssize_t shake() const {
        return finish([&] { return channel->handshake(); });
    }
    ssize_t read(std::string& into) const {
        return finish([&] { return channel->read(into.data(), into.size()); });
    }

    const CertifiedKey client = generateCertifiedKey("client", thisHour());
    const CertifiedKey server = generateCertifiedKey("server", thisHour());
    std::unique_ptr<os::FileDescriptor> near;
    std::unique_ptr<os::FileDescriptor> far;
    std::unique_ptr<ClientChannel> channel;
    std::thread serving;
};

TEST_F(ClientChannelTest, BytesGoBothWays) {
    serve([](SSL* connection) {
        std::array<char, 5> bytes{};
        ASSERT_EQ(::SSL_read(connection, bytes.data(), 5), 5);
        ::SSL_write(connection, bytes.data(), 5);
    });
    ASSERT_EQ(shake(), 1);
    EXPECT_EQ(finish([&] { return channel->write("hello", 5); }), 5);
    std::string answer(16, '\0');
    EXPECT_EQ(read(answer), 5);
    EXPECT_EQ(answer.substr(0, 5), "hello");
}

// Not as an error of an earlier call, for which somebody would wait without end.
TEST_F(ClientChannelTest, AnEndWithoutAWordIsAnEnd) {
    serve([](SSL*) {});
    ASSERT_EQ(shake(), 1);
    std::string answer(16, '\0');
    errno = EAGAIN;
    EXPECT_EQ(read(answer), 0);
}

TEST_F(ClientChannelTest, WhoIsGoneRaisesNoSignal) {
    serve([](SSL*) {});
    ASSERT_EQ(shake(), 1);
    serving.join();
    const std::string much(1'000'000, 'x');
    EXPECT_EQ(finish([&] { return channel->write(much.data(), much.size()); }), -1);
    EXPECT_TRUE(errno == EPIPE || errno == ECONNRESET) << errno;
}

TEST_F(ClientChannelTest, AnotherServerIsNotSpokenTo) {
    channel = std::make_unique<ClientChannel>(near->get(), client, std::string(64, 'a'));
    serve([](SSL*) { FAIL() << "spoken to"; });
    EXPECT_EQ(shake(), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_EQ(channel->failure(), "its certificate is not known here: " + server.fingerprint);
}

TEST_F(ClientChannelTest, WhatIsNoTlsIsTold) {
    const std::string greeting = "\xf7TARNLS\n plain";
    ASSERT_GT(::send(far->get(), greeting.data(), greeting.size(), MSG_NOSIGNAL), 0);
    EXPECT_EQ(shake(), -1);
    EXPECT_EQ(errno, EPROTO);
    EXPECT_EQ(channel->failure(), "it does not speak TLS");
}

}  // namespace
}  // namespace tarn::tls
