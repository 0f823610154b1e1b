#include "tests/peers/loop_storage/support/StalledClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tarn::test {

StalledClient::StalledClient(const std::string& socketPath, const std::string& bytes)
    : number(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const generic = &address;
    ::connect(number, static_cast<const sockaddr*>(generic), sizeof address);
    send(bytes);
}

StalledClient::~StalledClient() {
    ::close(number);
}

void StalledClient::send(const std::string& bytes) const {
    ::send(number, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

bool StalledClient::waitForEnd(std::chrono::milliseconds bound) const {
    pollfd ended{.fd = number, .events = 0, .revents = 0};  // a hang-up is always told
    return ::poll(&ended, 1, static_cast<int>(bound.count())) == 1;
}

}  // namespace tarn::test
