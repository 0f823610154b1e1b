#include <unistd.h>

#include <memory>
#include <optional>
#include <string>

#include "benchmarks/Benchmarks.h"
#include "benchmarks/support/Samples.h"
#include "platform/os/WakeUp.h"
#include "platform/socket/KeyPolicy.h"
#include "platform/socket/RequestThread.h"
#include "platform/socket/TcpProtection.h"
#include "tests/support/ForkedProcess.h"

namespace tarn::benchmarks {

namespace {

using keys::KeyPair;
using socket::Socket;
using socket::SocketEndpoint;

constexpr int turns = 60;
constexpr int callsInATurn = 100;
constexpr std::size_t questionBytes = 2;
constexpr std::size_t answerBytes = 3000;  // with the shipped dictionary of components
constexpr std::uint32_t largestAnswer = 1U << 20U;

/// Nobody but who has the server's own key.
class Nobody : public socket::KeyPolicy {
  public:
    bool admits(const std::string&, socket::Entrance) const override { return false; }
    int descriptor() const override { return bell.descriptor(); }
    bool refresh() override { return false; }

  private:
    os::WakeUp bell;
};

void answer(Socket& socket) {
    static const std::string bytes(answerBytes, 'x');
    socket.receiveBytes(largestAnswer);
    socket.sendBytes(bytes);
}

[[noreturn]] void serve(const std::string& address, const std::optional<KeyPair>& keys) {
    std::optional<socket::TcpProtection> protection;
    if (keys) {
        protection.emplace(
            socket::TcpSecurity{.own = *keys, .clients = std::make_shared<Nobody>()});
        protection->protectProcess();
    }
    const socket::RequestThread thread(
        socket::makeAnsweringSocket("server", SocketEndpoint::FromString(address)), answer,
        {.notServed = "not served: ", .notWaited = "not waited: "});
    while (true) {
        ::pause();
    }
}

/// A process of its own that answers, and a client of it in this one.
class Pair {
  public:
    Pair(const std::string& address, const std::optional<KeyPair>& keys)
        : address(address), server([address, keys] { serve(address, keys); }) {}

    /// Once all servers are there: from here on this process has threads.
    void connect(const std::optional<KeyPair>& keys) {
        protection.emplace(socket::TcpSecurity{.own = keys});
        client.protectBy(*protection);
        client.createAndConnect(socket::Protocol::Request, SocketEndpoint::FromString(address),
                                5000);
    }

    void timeCalls(Samples& samples) {
        const std::string question(questionBytes, 'x');
        for (int i = 0; i < callsInATurn; ++i) {
            const auto begin = std::chrono::steady_clock::now();
            client.sendBytes(question);
            client.receiveBytes(largestAnswer);
            samples.add(std::chrono::steady_clock::now() - begin);
        }
    }

  private:
    const std::string address;
    const test::ForkedProcess server;
    std::optional<socket::TcpProtection> protection;
    Socket client{"client", socket::ClosePolicy::Discard};
};

}  // namespace

// In turns, so that whatever else the machine does meets both alike.
void measureTcpKeys() {
    const auto keys = keys::generateKeyPair();
    Pair locked("tcp://127.0.0.1:20911", keys);
    Pair open("tcp://127.0.0.1:20912", std::nullopt);
    locked.connect(keys);
    open.connect(std::nullopt);
    Samples warmUp;
    locked.timeCalls(warmUp);
    open.timeCalls(warmUp);
    Samples with;
    Samples without;
    for (int i = 0; i < turns; ++i) {
        locked.timeCalls(with);
        open.timeCalls(without);
    }
    report("a request over TCP with keys", with, "the same without keys", without);
}

}  // namespace tarn::benchmarks
