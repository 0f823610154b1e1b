#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "platform/socket/Limits.h"
#include "platform/socket/Socket.h"
#include "platform/utils/RepeatedFailure.h"

namespace tarn::socket {

/// A socket that answers at the endpoint, and lets what is unsent out for up to a second when it is
/// closed. Throws std::runtime_error, also when somebody listens there already. Larger requests
/// than `largest` end the connection.
std::unique_ptr<Socket> makeAnsweringSocket(std::string name, const SocketEndpoint& endpoint,
                                            Audience audience = Audience::OwnPrograms,
                                            std::size_t largest = largestRequestSize);

/// Answers the requests that come in on a socket of the Reply role, one after the other in arrival
/// order, on its caller's thread; RequestThread has one of its own. What goes wrong with a request
/// is logged, once a second at most, and costs the next one nothing. One thread at a time.
class RequestServer {
  public:
    /// Receives the request that has arrived, and answers it at most once. What it throws is logged
    /// as a request that was not served.
    using Serve = std::function<void(Socket& socket)>;

    /// What stands in front of the reason in the log.
    struct LogTexts {
        std::string notServed;  ///< a warning
        std::string notWaited;  ///< an error
        tarn::utils::RepeatedFailure::Now now = std::chrono::steady_clock::now;
    };

    /// The socket is bound, and must outlive this.
    RequestServer(Socket& socket, Serve serve, LogTexts texts);

    /// Waits for a request and serves it. Returns early when `bound` has passed, or when
    /// `interruption` (-1 for none) is readable. Throws ZmqContextTerminationException alone.
    void serveOne(std::chrono::milliseconds bound, int interruption = -1);

  private:
    void serveArrived();

    Socket& socket;
    const Serve serve;
    const LogTexts texts;
    tarn::utils::RepeatedFailure notServed;
    tarn::utils::RepeatedFailure notWaited;
};

/// For requests that are messages of one type, of at most `largestRequest` bytes: `answer` is given
/// the request, and who sent it if it takes that, and gives the reply, or nothing where the request
/// gets none. Bytes that are no request have no sender any more who could be answered.
template <typename Request, typename Answer>
RequestServer::Serve answering(std::uint32_t largestRequest, Answer answer) {
    return [largestRequest, answer = std::move(answer)](Socket& socket) {
        Request request;
        socket.receiveProtoBuf(&request, largestRequest);
        const auto reply = [&] {
            if constexpr (std::is_invocable_v<const Answer&, const Request&, const Peer&>) {
                return std::optional(answer(request, socket.sender()));
            } else {
                return std::optional(answer(request));
            }
        }();
        if (reply) {
            socket.sendProtoBuf(&*reply);
        }
    };
}

}  // namespace tarn::socket
