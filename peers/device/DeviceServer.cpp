#include "peers/device/DeviceServer.h"

#include <poll.h>

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "proto/monitoring.pb.h"

namespace tarn::peers {

namespace {

constexpr std::uint32_t maxRequestBytes = 65536;
constexpr std::chrono::milliseconds longestWait{60'000};

std::uint32_t millisecondsUntil(DeviceServer::Time until) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
    return static_cast<std::uint32_t>(
        std::clamp(left, std::chrono::milliseconds(0), longestWait).count());
}

// An error that stays must not take a processor.
void pauseAfterError(int descriptor) {
    constexpr int pauseMs = 100;
    pollfd interrupt{.fd = descriptor, .events = POLLIN, .revents = 0};
    ::poll(&interrupt, 1, pauseMs);
}

}  // namespace

DeviceServer::DeviceServer(const tarn::socket::SocketEndpoint& endpoint, Answer answer)
    : answer(std::move(answer)), socket("Monitoring endpoint", tarn::socket::ClosePolicy::Flush) {
    socket.createAndConnect(tarn::socket::Protocol::Reply, endpoint, 0);
}

void DeviceServer::serveOne(Time until, int descriptor) {
    std::string error;
    const int polled = socket.pollWith(descriptor, millisecondsUntil(until), error);
    if (polled == 0) {
        receiveAndAnswer();
    } else if (polled == 2) {
        failures.log("Cannot wait for requests: " + error);
        pauseAfterError(descriptor);
    }
}

void DeviceServer::receiveAndAnswer() {
    try {
        Request request;
        socket.receiveProtoBuf(&request, maxRequestBytes);
        if (const auto reply = answer(request)) {
            socket.sendProtoBuf(&*reply);
        }
    } catch (const std::exception& e) {
        failures.log(std::string("Request not served: ") + e.what());
    }
}

}  // namespace tarn::peers
