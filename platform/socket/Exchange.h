#pragma once

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket {

/// There is no answer to a request: none came in time, or there is nobody who could give one.
class NoAnswer : public std::runtime_error {
  public:
    enum class Reason { Silence, NobodyListens };

    NoAnswer(Reason reason, const std::string& asked, const std::string& detail)
        : runtime_error(asked + ": " + detail), reason(reason), detail(detail) {}

    const Reason reason;
    const std::string detail;  ///< what() without who was asked
};

/// How an answer is waited for.
struct AnswerWait {
    std::chrono::milliseconds within{5000};
    std::chrono::steady_clock::time_point since = std::chrono::steady_clock::now();

    /// When this is readable, the answer is not waited for any more; -1 for none.
    int interruption = -1;

    /// Whether anybody listens where the request went is looked at when no answer has come after
    /// `first`, and then every `again`; each look takes `within` at most.
    struct Looks {
        const SocketEndpoint* at = nullptr;  ///< null: it is not looked at
        std::chrono::milliseconds first{100};
        std::chrono::milliseconds again{500};
        std::chrono::milliseconds within{100};
    };
    Looks looks = {};
};

/// Waits for the answer to the request that was sent last on a socket of the Request role; what
/// comes late to an earlier one is not taken for it. False when it was interrupted. Throws
/// NoAnswer, std::runtime_error when it cannot be waited for; both name the endpoint.
bool awaitAnswer(Socket& socket, const AnswerWait& wait);

/// Sends the request, and waits for the answer and receives it. False, with `reply` untouched, when
/// it was interrupted. Throws NoAnswer, and std::runtime_error for an answer that is larger than
/// `largestReply` bytes or is none. The socket can be used again after all of that.
bool exchange(Socket& socket, const google::protobuf::Message& request,
              google::protobuf::Message& reply, std::uint32_t largestReply,
              const AnswerWait& wait = {});

/// Throws NoAnswer when it is known that nobody listens at the endpoint, which is the socket's
/// peer. Waits `within` at most.
void checkSomebodyListens(const Socket& socket, const SocketEndpoint& endpoint,
                          std::chrono::milliseconds within);

}  // namespace tarn::socket
