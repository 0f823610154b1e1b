#include "tests/flood/Peer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace tarn::flood {

namespace {

os::FileDescriptor connectTo(const std::string& path) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    os::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const void* const generic = &address;
    if (::connect(socket.get(), static_cast<const sockaddr*>(generic), sizeof address) != 0) {
        return {};
    }
    return socket;
}

}  // namespace

std::string handshake(const std::string& socketType) {
    std::string greeting("\xff\0\0\0\0\0\0\0\0\x7f\3\0NULL", 16);
    greeting.resize(64);
    const std::string ready = std::string("\5READY\13Socket-Type\0\0\0", 21) +
                              static_cast<char>(socketType.size()) + socketType;
    return greeting + '\4' + static_cast<char>(ready.size()) + ready;
}

std::string frame(std::string_view body, bool more) {
    constexpr char moreFlag = 1;
    constexpr char longFlag = 2;
    const bool isLong = body.size() > 255;
    std::string bytes(1, static_cast<char>((more ? moreFlag : 0) | (isLong ? longFlag : 0)));
    for (int shift = isLong ? 56 : 0; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(body.size() >> static_cast<unsigned>(shift));
    }
    return bytes.append(body);
}

Peer::Peer(const std::string& path, const Says& says)
    : says(says),
      socket(connectTo(path)),
      beginning(says.greets ? handshake(says.socketType) + says.once : std::string()) {}

short Peer::events() const {
    const int in = says.reads || !isGreeted() ? POLLIN : 0;
    return static_cast<short>(in | (pending().empty() ? 0 : POLLOUT));
}

// What is sent again comes after the other side's greeting, as the protocol wants it.
std::string_view Peer::pending() const {
    if (sent < beginning.size()) {
        return std::string_view(beginning).substr(sent);
    }
    if (says.again.empty() || !isGreeted()) {
        return {};
    }
    return std::string_view(says.again).substr((sent - beginning.size()) % says.again.size());
}

void Peer::go() {
    write();
    if (socket.isOpen() && (says.reads || !isGreeted())) {
        read();
    }
}

void Peer::read() {
    std::array<char, 65536> bytes{};
    const auto got = ::recv(socket.get(), bytes.data(), bytes.size(), 0);
    if (got > 0) {
        received += static_cast<std::size_t>(got);
    } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
        socket.close();
    }
}

void Peer::write() {
    const auto next = pending();
    if (next.empty()) {
        return;
    }
    const auto put =
        ::send(socket.get(), next.data(), std::min(next.size(), says.most), MSG_NOSIGNAL);
    if (put > 0) {
        sent += static_cast<std::size_t>(put);
    } else if (put < 0 && errno != EAGAIN && errno != EINTR) {
        socket.close();
    }
}

}  // namespace tarn::flood
