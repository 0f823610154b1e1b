#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace google::protobuf {
class Message;
}

namespace tarn::socket {
struct AnswerWait;
class Socket;
class SocketEndpoint;
}  // namespace tarn::socket

namespace tarn::cli {

/// Requests to one endpoint, one at a time. Used by one thread.
///
/// Every failure is a CommandError: NoAnswer when the bound passes or nobody listens, Failed for an
/// answer that cannot be read.
class RequestChannel {
  public:
    using Clock = std::chrono::steady_clock;

    /// What happens when nobody listens on the endpoint. Whoever has answered once is waited for in
    /// any case: a service that is started again, for one.
    enum class Absence { FailsAtOnce, IsWaitedOut };

    /// Connects in the background at the first send.
    RequestChannel(const tarn::socket::SocketEndpoint& endpoint, Absence absence);
    ~RequestChannel();
    RequestChannel(RequestChannel&&) noexcept;

    /// Sends and waits for the answer; `bound` covers both.
    void ask(const google::protobuf::Message& request, google::protobuf::Message& reply,
             std::chrono::milliseconds bound);

    /// The two halves of ask, for asking many at once: receive waits until `bound` after send.
    void send(const google::protobuf::Message& request, std::chrono::milliseconds bound);
    void receive(google::protobuf::Message& reply);

    const std::string& endpointText() const { return text; }

  private:
    void open();
    socket::AnswerWait wait() const;

    std::unique_ptr<tarn::socket::SocketEndpoint> endpoint;
    std::string text;
    Absence absence;
    std::chrono::milliseconds bound{};
    Clock::time_point sent;
    std::unique_ptr<tarn::socket::Socket> socket;
};

}  // namespace tarn::cli
