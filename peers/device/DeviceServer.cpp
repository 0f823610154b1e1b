#include "peers/device/DeviceServer.h"

#include <algorithm>
#include <memory>
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

// Over TCP whoever may ask could also tell the device to stop: it is the service that asks.
std::unique_ptr<tarn::socket::Socket> makeSocket(const tarn::socket::SocketEndpoint& endpoint) {
    auto socket = std::make_unique<tarn::socket::Socket>("Monitoring endpoint",
                                                         tarn::socket::ClosePolicy::Flush);
    socket->setEntrance(tarn::socket::Entrance::OwnPrograms);
    socket->createAndConnect(tarn::socket::Protocol::Reply, endpoint, /*timeoutMs=*/0);
    return socket;
}

}  // namespace

DeviceServer::DeviceServer(const tarn::socket::SocketEndpoint& endpoint, Answer answer)
    : socket(makeSocket(endpoint)),
      server(*socket, tarn::socket::answering<Request>(maxRequestBytes, std::move(answer)),
             {.notServed = "Request not served: ", .notWaited = "Cannot wait for requests: "}) {}

void DeviceServer::serveOne(Time until, int descriptor) {
    server.serveOne(durationUntil(until), descriptor);
}

}  // namespace tarn::peers
