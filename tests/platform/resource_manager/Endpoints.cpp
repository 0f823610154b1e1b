#include "tests/platform/resource_manager/Endpoints.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "platform/utils/UuidGenerator.h"

namespace tarn::resource_manager::test {

namespace {

std::uint16_t freePort() {
    const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t length = sizeof address;
    ::bind(probe, reinterpret_cast<const sockaddr*>(&address), length);
    ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(probe);
    return ntohs(address.sin_port);
}

}  // namespace

tarn::socket::SocketEndpoint freshIpcEndpoint() {
    return tarn::socket::SocketEndpoint::FromString("ipc:///tmp/" +
                                                    tarn::utils::UuidGenerator::Generate());
}

tarn::socket::SocketEndpoint freshTcpEndpoint() {
    return tarn::socket::SocketEndpoint(tarn::socket::Transport::Tcp, "*", freePort());
}

}  // namespace tarn::resource_manager::test
