#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <zmq.hpp>

#include "platform/socket/visitors/FairQueue.h"
#include "platform/socket/zmq/Envelope.h"

namespace tarn::socket {

/// Requests that have come to a socket of the Reply role. The library hands them out in turns of
/// connections, of which one visitor may have a hundred: so they are all taken at once, and wait
/// here for the turn of who sent them. While nobody is counted they stay with the library.
///
/// One thread at a time. Throws std::runtime_error.
class ArrivedRequests {
  public:
    using Clock = std::chrono::steady_clock;

    /// Whether nobody's turn needs to be looked at: then the library's word holds, whether there is
    /// a request.
    bool isIdle() const;

    /// Takes what has come from the library; whether one of them may be served now.
    bool gather(ZmqSocket& socket);

    /// When one of those that wait may be served; nothing when none waits.
    std::optional<Clock::time_point> due() const { return queue.due(); }

    /// Takes the next request: its envelope there, its body there. False when there is none now;
    /// throws for what is no request, which is gone then.
    bool next(ZmqSocket& socket, Envelope& envelope, zmq::message_t& body);

    /// The one that was taken is done with.
    void served() { queue.served(); }

  private:
    struct Arrived {
        Envelope envelope;
        zmq::message_t body;
        std::string fault;  // why it is no request; empty for one
    };

    bool gatherOne(ZmqSocket& socket);

    FairQueue<Arrived> queue;
};

}  // namespace tarn::socket
