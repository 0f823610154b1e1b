#pragma once

#include <map>
#include <string>
#include <zmq.hpp>

namespace tarn::socket {

/// Tells those whose message is the first of their connection from those who have sent before. One
/// thread at a time.
///
/// Nothing says when a connection ends: of each descriptor the last one is remembered, so what is
/// kept is bounded by how many there were at once.
class KnownPeers {
  public:
    /// Whether a received frame is the first from its peer. Of one that does not tell where it came
    /// from, it is said each time.
    bool isNew(zmq::message_t frame);

  private:
    // By the descriptor's number. A frame holds what the library knows of its connection, so that
    // no later one can be taken for the same.
    std::map<std::string, zmq::message_t, std::less<>> latest;
};

}  // namespace tarn::socket
