#pragma once

#include <map>
#include <string>
#include <zmq.hpp>

namespace tarn::socket {

/// Topics that one visitor's connection may follow at a time: each costs the library a good deal
/// more than its text.
inline constexpr unsigned mostTopics = 32;

/// Who follows a publishing side: tells those whose announcement is the first of their connection
/// from those who have made one before, and ends the connection of a visitor who wants more than
/// `mostTopics`. One thread at a time.
///
/// Nothing says when a connection ends: of each descriptor the last one is remembered, so what is
/// kept is bounded by how many there were at once.
class KnownPeers {
  public:
    /// Somebody wants a topic: whether it is the first announcement of his connection. Of a frame
    /// that does not tell where it came from, it is said each time.
    bool came(zmq::message_t frame);

    /// Somebody wants one no more, or has gone.
    void left(zmq::message_t& frame);

    /// What came is no announcement: that ends a visitor's connection.
    static void saidNonsense(zmq::message_t& frame);

  private:
    struct Peer {
        // It holds what the library knows of its connection, so that no later one can be taken for
        // the same.
        zmq::message_t latest;
        unsigned topics = 0;
    };
    using Peers = std::map<std::string, Peer, std::less<>>;

    Peers::iterator find(const char* descriptor);

    Peers peers;  // by the descriptor's number
};

}  // namespace tarn::socket
