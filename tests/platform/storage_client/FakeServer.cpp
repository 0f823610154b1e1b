#include "tests/platform/storage_client/FakeServer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

namespace tarn::test {

FakeServer::FakeServer(std::string bytes)
    : bytes(std::move(bytes)), listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    socklen_t size = sizeof address;
    ::bind(listener, generic, size);
    ::listen(listener, 1);
    ::getsockname(listener, generic, &size);
    number = ntohs(address.sin_port);
    thread = std::thread([this] { serve(); });
}

FakeServer::~FakeServer() {
    thread.join();
    ::close(client);
    ::close(listener);
}

void FakeServer::serve() {
    pollfd ready{.fd = listener, .events = POLLIN, .revents = 0};
    if (::poll(&ready, 1, 10'000) == 1) {
        client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        ::send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
}

}  // namespace tarn::test
