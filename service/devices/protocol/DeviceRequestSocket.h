#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "platform/os/WakeUp.h"
#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "proto/monitoring.fwd.h"

namespace tarn::service::devices {

/// The connection on which a device is asked. Where nobody listens any more, it is not waited for
/// an answer: that is looked at when an answer does not come at once, and before each question
/// after one that was not answered. Any thread: one exchange at a time, the others wait for it.
class DeviceRequestSocket {
  public:
    using Request = tarn::proto::monitoring::TarnServiceToDeviceRequest;
    using Reply = tarn::proto::monitoring::DeviceToTarnServiceReply;

    /// `name` appears in diagnostics; `answerWithin` bounds the wait for each answer. Throws
    /// std::runtime_error when no descriptor is left.
    DeviceRequestSocket(const std::string& name, std::chrono::milliseconds answerWithin);

    /// Replaces an earlier connection; waits half a second at most. Throws std::runtime_error when
    /// nobody is there.
    void connect(const socket::SocketEndpoint& endpoint);

    /// One exchange; false, and `reply` untouched, when it was interrupted. Throws
    /// std::runtime_error when there was no answer, or none that can be read; RefusedDescription
    /// when it is a description that is too deep or too large.
    bool ask(const Request& request, Reply& reply);

    /// The same with another bound, for this exchange.
    bool ask(const Request& request, Reply& reply, std::chrono::milliseconds within);

    /// No exchange waits for its answer any more, until `resume`.
    void interrupt();
    void resume();

    void close();

  private:
    enum class Peer { Answers, Doubtful };

    bool exchange(const Request& request, Reply& reply, std::chrono::milliseconds within);
    void receive(Reply& reply);

    const std::chrono::milliseconds answerWithin;
    os::WakeUp interruption;

    std::mutex mutex;
    // Guarded by mutex:
    socket::Socket socket;
    socket::SocketEndpoint peerEndpoint;
    Peer peer = Peer::Answers;
};

}  // namespace tarn::service::devices
