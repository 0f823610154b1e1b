#include "tests/support/peers/SilentSubscriber.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace tarn::test {

using namespace std::string_literals;

namespace {

int connectedTo(const std::string& endpoint) {
    const auto path = endpoint.substr("ipc://"s.size());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::copy(path.begin(), path.end(), address.sun_path);
    const int number = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const void* const given = &address;
    if (number < 0 || ::connect(number, static_cast<const sockaddr*>(given), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    const timeval patience{.tv_sec = 10, .tv_usec = 0};
    ::setsockopt(number, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ::setsockopt(number, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    return number;
}

std::string zmtpGreeting() {
    auto bytes = "\xff\0\0\0\0\0\0\0\x01\x7f\x03\x00NULL"s;
    bytes.resize(64, '\0');
    return bytes;
}

std::string lengthOf(std::size_t size) {
    std::string bytes;
    for (int shift = 56; shift >= 0; shift -= 8) {
        bytes += static_cast<char>((size >> static_cast<unsigned>(shift)) & 0xffU);
    }
    return bytes;
}

}  // namespace

SilentSubscriber::SilentSubscriber(const std::string& endpoint, const std::string& topic)
    : number(connectedTo(endpoint)) {
    const auto ownGreeting = zmtpGreeting();
    send(ownGreeting);
    receive(ownGreeting.size());
    send("\x04\x19\x05READY\x0bSocket-Type\0\0\0\x03SUB"s);
    receive(1);  // it has answered the handshake
    subscribe(topic);
}

void SilentSubscriber::subscribe(const std::string& topic) const {
    send("\x02"s + lengthOf(topic.size() + 1) + "\x01" + topic);
}

// The other side may have heard enough.
void SilentSubscriber::send(const std::string& bytes) const {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const auto count = ::send(number, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0) {
            return;
        }
        sent += static_cast<std::size_t>(count);
    }
}

void SilentSubscriber::receive(std::size_t size) const {
    std::string bytes(size, '\0');
    const auto count = ::recv(number, bytes.data(), size, MSG_WAITALL);
    if (count != static_cast<ssize_t>(size)) {
        throw std::system_error(errno, std::generic_category(), "handshake");
    }
}

SilentSubscriber::~SilentSubscriber() {
    ::close(number);
}

bool SilentSubscriber::isConnected() {
    std::array<char, 4096> ignored;
    ssize_t count = 0;
    do {
        count = ::recv(number, ignored.data(), ignored.size(), MSG_DONTWAIT);
    } while (count > 0);
    return count < 0 && errno == EAGAIN;
}

}  // namespace tarn::test
