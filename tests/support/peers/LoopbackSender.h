#pragma once

#include <string>

namespace tarn::test {

/// A server on a port of the loopback that is its own: whoever connects is sent something, and
/// then nothing more until he is hung up on.
class LoopbackSender {
  public:
    /// Listens. Throws std::system_error.
    LoopbackSender();
    ~LoopbackSender();  ///< hangs up
    LoopbackSender(const LoopbackSender&) = delete;
    LoopbackSender& operator=(const LoopbackSender&) = delete;

    int port() const { return listeningPort; }

    /// Waits for somebody to connect, for 10 s at most, and sends `text`; false when nobody came.
    /// Whoever was there before is hung up on.
    bool serveNext(const std::string& text);

    void hangUp();

  private:
    int listener;
    int connection = -1;
    int listeningPort = 0;
};

}  // namespace tarn::test
