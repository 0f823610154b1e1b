#include "tests/support/peers/DatagramReceiver.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace tarn::test {

DatagramReceiver::DatagramReceiver(const std::string& path)
    : number(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const given = &address;
    if (::bind(number, static_cast<const sockaddr*>(given), sizeof address) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

DatagramReceiver::~DatagramReceiver() {
    ::close(number);
}

std::string DatagramReceiver::next() const {
    pollfd readable{.fd = number, .events = POLLIN, .revents = 0};
    std::array<char, 256> text{};
    if (::poll(&readable, 1, 20000) != 1) {
        return {};
    }
    const auto size = ::recv(number, text.data(), text.size(), 0);
    return size > 0 ? std::string(text.data(), static_cast<std::size_t>(size)) : std::string();
}

}  // namespace tarn::test
