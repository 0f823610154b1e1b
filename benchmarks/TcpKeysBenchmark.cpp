// What keys cost a request over TCP: the same question and answer, of the sizes of GET_INFO, with
// and without them, by the sockets that the service uses. The other side is a thread of this
// process.

#include <benchmark/benchmark.h>

#include <optional>

#include "platform/socket/RequestThread.h"
#include "platform/socket/TcpProtection.h"

namespace {

using namespace tarn::socket;

constexpr std::size_t requestBytes = 2;
constexpr std::size_t replyBytes = 3000;  // with the shipped dictionary of components
constexpr std::uint32_t largest = 1U << 20U;

/// Nobody but who has the server's own key.
class Nobody : public KeyPolicy {
  public:
    bool admits(const std::string&, Entrance) const override { return false; }
    int descriptor() const override { return bell.descriptor(); }
    bool refresh() override { return false; }

  private:
    tarn::os::WakeUp bell;
};

void answer(Socket& socket) {
    static const std::string reply(replyBytes, 'x');
    socket.receiveBytes(largest);
    socket.sendBytes(reply);
}

void ask(benchmark::State& state, bool hasKeys) {
    const auto endpoint =
        SocketEndpoint::FromString(hasKeys ? "tcp://127.0.0.1:20911" : "tcp://127.0.0.1:20912");
    std::optional<TcpProtection> protection;
    if (hasKeys) {
        protection.emplace(TcpSecurity{.own = tarn::keys::generateKeyPair(),
                                       .clients = std::make_shared<Nobody>()});
        protection->protectProcess();
    }
    const RequestThread server(makeAnsweringSocket("server", endpoint), answer,
                               {.notServed = "not served: ", .notWaited = "not waited: "});
    Socket client("client", ClosePolicy::Discard);
    client.createAndConnect(Protocol::Request, endpoint, 5000);
    const std::string question(requestBytes, 'x');
    for (auto one : state) {
        client.sendBytes(question);
        benchmark::DoNotOptimize(client.receiveBytes(largest));
    }
}

void plain(benchmark::State& state) {
    ask(state, /*hasKeys=*/false);
}
void withKeys(benchmark::State& state) {
    ask(state, /*hasKeys=*/true);
}

BENCHMARK(plain)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(withKeys)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
