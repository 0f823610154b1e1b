#pragma once

#include <cstdint>
#include <string>
#include <vector>
#include <zmq.hpp>

namespace tarn::socket {

class ZmqSocket;

/// The frames in front of a request's body, which lead the answer back: who asked, then whatever
/// the asking side put before, and with, the empty delimiter.
class Envelope {
  public:
    bool isEmpty() const { return frames.empty(); }
    void clear() { frames.clear(); }

    /// Takes a request that has arrived: its envelope here, its body there. False when none has
    /// arrived. When it has no body or several, it is gone, and `fault` says so. Both leave the
    /// envelope empty. Until `lookedAt` it counts as waiting for whoever sent it.
    bool receive(ZmqSocket& socket, zmq::message_t& body, std::string& fault);
    void lookedAt();

    /// The descriptor of the connection that the last one came by, -1 for none, also of one that
    /// was no request.
    int connectedBy() const { return connection; }

    /// Sends an answer and forgets the envelope. Never waits; throws std::runtime_error when the
    /// client has gone, or takes no more: he has too many bytes or answers waiting.
    void send(ZmqSocket& socket, zmq::message_t body);

  private:
    std::vector<zmq::message_t> frames;
    int connection = -1;  // which the request came by; none in-process
    std::uint64_t weight = 0;
};

}  // namespace tarn::socket
