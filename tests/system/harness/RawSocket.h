#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn::test {

/// A ZeroMQ socket that sends whatever it is told to: for clients and peers that break the rules.
class RawSocket {
  public:
    using Frames = std::vector<std::string>;

    enum class Kind { Dealer, Reply, Router };

    explicit RawSocket(Kind kind);
    ~RawSocket();
    RawSocket(const RawSocket&) = delete;
    RawSocket& operator=(const RawSocket&) = delete;

    /// Endpoint texts as the transport takes them: "ipc:///tmp/name", "tcp://127.0.0.1:5555".
    void connect(const std::string& endpoint);
    void bind(const std::string& endpoint);

    void send(const Frames& frames);
    /// As a client sends a request: behind an empty frame.
    void sendRequest(const std::string& bytes) { send({"", bytes}); }

    /// Nothing when the bound passes.
    std::optional<Frames> receive(std::chrono::milliseconds bound);

  private:
    struct Close {
        void operator()(void* socket) const;
    };
    struct Terminate {
        void operator()(void* context) const;
    };
    std::vector<std::string> boundFiles;  // which the library leaves behind
    std::unique_ptr<void, Terminate> context;
    std::unique_ptr<void, Close> socket;
};

}  // namespace tarn::test
