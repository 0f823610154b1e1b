#include "tests/platform/socket/SocketTestSupport.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>
#include <algorithm>

#include <stdexcept>

#include "platform/utils/UuidGenerator.h"

namespace tarn::socket::test {

namespace {

std::uint16_t freePort() {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    socklen_t size = sizeof(address);
    const bool found =
        ::bind(probe, generic, size) == 0 && ::getsockname(probe, generic, &size) == 0;
    ::close(probe);
    if (!found) {
        throw std::runtime_error("no free port");
    }
    return ntohs(address.sin_port);
}

}  // namespace

SocketEndpoint ipcEndpoint() {
    return {Transport::Ipc, "tarn-test-" + utils::UuidGenerator::Generate(), 0};
}

SocketEndpoint inProcessEndpoint() {
    return {Transport::InProcess, utils::UuidGenerator::Generate(), 0};
}

SocketEndpoint tcpEndpoint(const std::string& host) {
    return {Transport::Tcp, host, freePort()};
}

std::unique_ptr<Socket> open(Protocol protocol, const SocketEndpoint& endpoint,
                             std::uint32_t timeoutMs, ClosePolicy closePolicy) {
    auto socket = std::make_unique<Socket>("test socket", closePolicy);
    socket->createAndConnect(protocol, endpoint, timeoutMs);
    return socket;
}

Message message(const std::string& text) {
    Message result;
    result.set_job_id(text);
    return result;
}

void send(Socket& socket, const std::string& text) {
    const auto sent = message(text);
    socket.sendProtoBuf(&sent);
}

std::string receive(Socket& socket) {
    Message received;
    socket.receiveProtoBuf(&received, maxBytes);
    return received.job_id();
}

std::chrono::milliseconds durationOf(const std::function<void()>& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 begin);
}

std::chrono::milliseconds quickestOfThree(const std::function<void()>& action) {
    return std::min({durationOf(action), durationOf(action), durationOf(action)});
}

int poll(Socket& socket, std::uint32_t timeoutMs) {
    std::string error;
    const int result = socket.poll(timeoutMs, error);
    EXPECT_EQ(error, "");
    return result;
}

}  // namespace tarn::socket::test
