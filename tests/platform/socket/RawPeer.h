#pragma once

#include <string>
#include <vector>

#include "platform/socket/SocketEndpoint.h"

namespace tarn::socket::test {

/// A peer that is made of the messaging library alone, as other people's programs are.
class RawPeer {
  public:
    /// `type` is ZMQ_REQ, ZMQ_DEALER, ...; `option` is one that is set to 1, 0 for none.
    RawPeer(int type, const SocketEndpoint& endpoint, int option = 0);
    ~RawPeer();
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    /// Without waiting; whether it could.
    bool send(const std::vector<std::string>& frames);

    /// Of a ZMQ_SUB.
    void subscribe(const std::string& topic);
    void unsubscribe(const std::string& topic);

    /// Whether a message comes within the time.
    bool poll(int boundMs);

    /// The frames of the next message; none if it does not come.
    std::vector<std::string> receive();

  private:
    void* const context;
    void* const socket;
};

/// Connects to an IPC or TCP endpoint on this machine, sends these bytes, and reads until the other
/// side closes or nothing comes for a moment; whether the other side closed.
bool pourInto(const SocketEndpoint& endpoint, const std::string& bytes);

}  // namespace tarn::socket::test
