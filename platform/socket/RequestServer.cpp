#include "platform/socket/RequestServer.h"

#include <poll.h>

#include <exception>

namespace tarn::socket {

namespace {

// An error that stays takes neither a processor nor the log.
void pauseAfterError(int interruption) {
    constexpr int pauseMs = 100;
    pollfd input{.fd = interruption, .events = POLLIN, .revents = 0};
    ::poll(&input, 1, pauseMs);
}

}  // namespace

std::unique_ptr<Socket> makeAnsweringSocket(std::string name, const SocketEndpoint& endpoint,
                                            Audience audience, std::size_t largest) {
    auto socket = std::make_unique<Socket>(std::move(name), ClosePolicy::Flush);
    socket->setAudience(audience);
    socket->setLargestReceived(largest);
    socket->createAndConnect(Protocol::Reply, endpoint, /*timeoutMs=*/0);
    return socket;
}

RequestServer::RequestServer(Socket& socket, Serve serve, LogTexts logTexts)
    : socket(socket),
      serve(std::move(serve)),
      texts(std::move(logTexts)),
      notServed(tarn::utils::LogLevel::Warning, texts.now),
      notWaited(tarn::utils::LogLevel::Error, texts.now) {}

void RequestServer::serveOne(std::chrono::milliseconds bound, int interruption) {
    std::string error;
    const auto boundMs = static_cast<std::uint32_t>(bound.count());
    const int polled = socket.pollWith(interruption, boundMs, error);
    if (polled == 0) {
        serveArrived();
    } else if (polled != 1) {
        notWaited.log(texts.notWaited + error);
        pauseAfterError(interruption);
    }
}

void RequestServer::serveArrived() {
    try {
        serve(socket);
    } catch (const ZmqContextTerminationException&) {
        throw;
    } catch (const std::exception& failure) {
        notServed.log(texts.notServed + failure.what());
    }
}

}  // namespace tarn::socket
