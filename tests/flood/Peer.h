#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/os/FileDescriptor.h"

namespace tarn::flood {

/// One connection to a socket file that speaks the messaging library's protocol by itself, so that
/// it can speak it badly. Never waits. One thread.
class Peer {
  public:
    /// What is sent over and over once the handshake is done; `once` before that.
    struct Says {
        std::string once = {};
        std::string again = {};
        bool greets = true;  ///< else it says nothing at all
        bool reads = true;
        std::string socketType = "DEALER";
        std::size_t most = SIZE_MAX;  ///< bytes at a time
    };

    Peer(const std::string& path, const Says& says);

    /// For poll: what it waits for, and whether it is connected.
    int descriptor() const { return socket.get(); }
    short events() const;
    bool isIn() const { return socket.isOpen(); }
    /// Whether the other side has greeted it.
    bool isGreeted() const { return received > 0; }

    /// Reads and writes what there is room for; closes when the other side did.
    void go();

    std::size_t bytesSent() const { return sent; }
    std::size_t bytesReceived() const { return received; }

  private:
    void read();
    void write();
    std::string_view pending() const;

    const Says& says;
    os::FileDescriptor socket;
    std::string beginning;
    std::size_t sent = 0;
    std::size_t received = 0;
};

/// Greeting and handshake without a key, of an asking side unless it is told otherwise.
std::string handshake(const std::string& socketType = "DEALER");

/// A frame; with more to come of its message, or the last one.
std::string frame(std::string_view body, bool more);

}  // namespace tarn::flood
