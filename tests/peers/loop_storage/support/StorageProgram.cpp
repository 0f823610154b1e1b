#include "tests/peers/loop_storage/support/StorageProgram.h"

#include <arpa/inet.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <utility>

namespace tarn::test {

StorageProgram::StorageProgram(std::vector<std::string> options, Medium medium)
    : folder(medium), options(std::move(options)), tcpPort(freePort()) {
    start();
}

std::vector<std::string> StorageProgram::command() const {
    std::vector<std::string> words = {builtProgram("tarnLoopStorage"),
                                      "--directory",
                                      directory().string(),
                                      "--unix",
                                      socketPath(),
                                      "--tcp",
                                      "127.0.0.1:" + std::to_string(tcpPort)};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

void StorageProgram::start() {
    program = std::make_unique<Process>(command());
    if (!program->waitForErr("Serves ")) {
        throw std::runtime_error("the server does not start: " + program->wait().out);
    }
}

int StorageProgram::stop() {
    program->signal(SIGTERM);
    return program->wait().exitStatus;
}

void StorageProgram::kill() {
    program->signal(SIGKILL);
    program->wait();
}

std::uint16_t freePort() {
    const int number = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    socklen_t size = sizeof address;
    ::bind(number, generic, size);
    ::getsockname(number, generic, &size);
    ::close(number);
    return ntohs(address.sin_port);
}

std::string pour(const std::string& socketPath, const std::string& bytes,
                 std::chrono::milliseconds patience) {
    const int number = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    socketPath.copy(address.sun_path, sizeof address.sun_path - 1);
    const void* const generic = &address;
    if (::connect(number, static_cast<const sockaddr*>(generic), sizeof address) != 0) {
        ::close(number);
        throw std::runtime_error("nobody listens on " + socketPath);
    }
    ::send(number, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    std::string answer;
    std::array<char, 4096> piece{};
    pollfd ready{.fd = number, .events = POLLIN, .revents = 0};
    ssize_t got = 1;
    while (got > 0 && ::poll(&ready, 1, static_cast<int>(patience.count())) == 1) {
        got = ::recv(number, piece.data(), piece.size(), 0);
        answer.append(piece.data(), static_cast<std::size_t>(got > 0 ? got : 0));
    }
    ::close(number);
    return answer;
}

}  // namespace tarn::test
