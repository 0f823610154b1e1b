#include "peers/device/DeviceServer.h"

#include <algorithm>
#include <utility>

#include "proto/monitoring.pb.h"

namespace tarn::peers {

namespace {

constexpr std::uint32_t maxRequestBytes = 65536;
constexpr std::chrono::milliseconds longestWait{60'000};

std::chrono::milliseconds durationUntil(DeviceServer::Time until) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    return std::clamp(left, std::chrono::milliseconds(0), longestWait);
}

}  // namespace

DeviceServer::DeviceServer(const tarn::socket::SocketEndpoint& endpoint, Answer answer)
    : socket(tarn::socket::makeAnsweringSocket("Monitoring endpoint", endpoint)),
      server(*socket, tarn::socket::answering<Request>(maxRequestBytes, std::move(answer)),
             {.notServed = "Request not served: ", .notWaited = "Cannot wait for requests: "}) {}

void DeviceServer::serveOne(Time until, int descriptor) {
    server.serveOne(durationUntil(until), descriptor);
}

}  // namespace tarn::peers
