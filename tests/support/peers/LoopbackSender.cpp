#include "tests/support/peers/LoopbackSender.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace tarn::test {

namespace {

constexpr int patienceMs = 10'000;

void check(int result) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), "LoopbackSender");
    }
}

}  // namespace

LoopbackSender::LoopbackSender() : listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    check(listener);
    check(::bind(listener, generic, size));
    check(::listen(listener, 1));
    check(::getsockname(listener, generic, &size));
    listeningPort = ntohs(address.sin_port);
}

LoopbackSender::~LoopbackSender() {
    hangUp();
    ::close(listener);
}

bool LoopbackSender::serveNext(const std::string& text) {
    hangUp();
    pollfd incoming{.fd = listener, .events = POLLIN, .revents = 0};
    if (::poll(&incoming, 1, patienceMs) != 1) {
        return false;
    }
    connection = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    return ::send(connection, text.data(), text.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(text.size());
}

void LoopbackSender::hangUp() {
    ::close(std::exchange(connection, -1));
}

}  // namespace tarn::test
