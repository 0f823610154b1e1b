#include "tests/peers/loop_storage/support/RawTls.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <vector>

#include "platform/os/FileDescriptor.h"
#include "platform/storage_wire/Greeting.h"

namespace tarn::test {

namespace {

struct FreeContext {
    void operator()(SSL_CTX* context) const { ::SSL_CTX_free(context); }
};
struct FreeConnection {
    void operator()(SSL* connection) const { ::SSL_free(connection); }
};

constexpr timeval patience{.tv_sec = 10, .tv_usec = 0};

os::FileDescriptor connected(std::uint16_t port) {
    os::FileDescriptor number(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ::setsockopt(number.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const void* const generic = &address;
    if (::connect(number.get(), static_cast<const sockaddr*>(generic), sizeof address) != 0) {
        throw std::runtime_error("nobody listens on port " + std::to_string(port));
    }
    return number;
}

std::string lastReason() {
    const char* const reason = ::ERR_reason_error_string(::ERR_peek_last_error());
    ::ERR_clear_error();
    return reason == nullptr ? "ended" : reason;
}

}  // namespace

std::string greetBy(const RawTls& how, std::uint16_t port) {
    const auto number = connected(port);
    const std::unique_ptr<SSL_CTX, FreeContext> context(::SSL_CTX_new(::TLS_client_method()));
    if (how.newest != 0) {
        SSL_CTX_set_max_proto_version(context.get(), how.newest);
        ::SSL_CTX_set_cipher_list(context.get(), "DEFAULT:@SECLEVEL=0");
    }
    if (!how.certificate.empty()) {
        ::SSL_CTX_use_certificate_file(context.get(), how.certificate.c_str(), SSL_FILETYPE_PEM);
        ::SSL_CTX_use_PrivateKey_file(context.get(), how.certificate.c_str(), SSL_FILETYPE_PEM);
    }
    const std::unique_ptr<SSL, FreeConnection> connection(::SSL_new(context.get()));
    ::SSL_set_fd(connection.get(), number.get());
    auto greeting = storage_wire::makeGreeting();
    const bool isDone =
        ::SSL_connect(connection.get()) == 1 &&
        ::SSL_write(connection.get(), greeting.data(), static_cast<int>(greeting.size())) > 0 &&
        ::SSL_read(connection.get(), greeting.data(), static_cast<int>(greeting.size())) > 0;
    return isDone ? "greeted" : lastReason();
}

SilentClients::SilentClients(std::uint16_t port, std::size_t count, const std::string& beginning) {
    for (std::size_t i = 0; i < count; ++i) {
        sockets.push_back(std::make_unique<os::FileDescriptor>(connected(port)));
        ::send(sockets.back()->get(), beginning.data(), beginning.size(), MSG_NOSIGNAL);
    }
}

std::size_t SilentClients::ended() const {
    std::size_t count = 0;
    for (const auto& number : sockets) {
        pollfd end{.fd = number->get(), .events = POLLRDHUP, .revents = 0};
        count += ::poll(&end, 1, 0) == 1 ? 1 : 0;
    }
    return count;
}

}  // namespace tarn::test
