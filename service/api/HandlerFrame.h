#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "proto/api_service.fwd.h"

namespace tarn::socket {
class Socket;
}
namespace tarn::utils {
class IMessageFormatter;
class RepeatedFailure;
}  // namespace tarn::utils

namespace tarn::service {

using SteadyNow = std::function<std::chrono::steady_clock::time_point()>;

/// What every request handler does around its own work: it times the work and the sending, says so
/// when either was slow, and sends the reply. Lives as long as one request; request thread only.
class HandlerFrame {
  public:
    /// How the two warnings call the request and its reply, and after how many whole seconds of
    /// work the first is given. The labels bring their blanks with them.
    struct Labels {
        std::string request;
        std::string reply;
        std::chrono::seconds processingThreshold{5};
    };

    /// What all requests of a server have in common; outlives the frames.
    struct Dependencies {
        const utils::IMessageFormatter& formatter;
        SteadyNow now;
        utils::RepeatedFailure& sendFailures;  ///< a client need not take its replies
    };

    enum class Work { Begins, HasBegun };

    /// `HasBegun` is for who takes over from a frame that did not come to its end.
    HandlerFrame(const Dependencies& dependencies, Labels labels, Work work = Work::Begins);

    /// Replaces the request's label, where it depends on the work.
    void nameRequest(std::string label) { labels.request = std::move(label); }

    /// The work is done. Does not throw: a reply that cannot be sent is logged.
    void send(const tarn::proto::api_service::ServiceToApiReply& reply, socket::Socket& socket);

    /// The same for a reply that is not built as a message: `sendOn` sends it, `text` gives what
    /// the log says of it and is called only if that is wanted.
    void send(const std::function<std::string()>& text, socket::Socket& socket,
              const std::function<void(socket::Socket&)>& sendOn);

  private:
    void warnIfSlow(const std::string& label, std::chrono::seconds threshold) const;

    const Dependencies& dependencies;
    Labels labels;
};

}  // namespace tarn::service
