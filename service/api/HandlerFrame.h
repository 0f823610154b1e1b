#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "platform/socket/Peer.h"
#include "proto/api_service.pb.h"

namespace tarn::socket {
class Socket;
}
namespace tarn::utils {
class IMessageFormatter;
class RepeatedFailure;
}  // namespace tarn::utils

/// When the request in hand, or the sending of its reply, began and ended. Written by the request
/// thread only.
extern std::chrono::steady_clock::time_point startTime;
extern std::chrono::steady_clock::time_point endTime;

namespace tarn::service {

using SteadyNow = std::function<std::chrono::steady_clock::time_point()>;

/// What is done around the work of every request handler: it times the work and the sending, says
/// so when either was slow, and sees to the answer, which a handler can neither forget nor give
/// twice. Lives as long as one request; request thread only.
///
///     Owed --sent by the handler, or else when it has returned or thrown--> Given
///     Owed --the handler says that this request gets none--> Waived
class HandlerFrame {
  public:
    using Reply = tarn::proto::api_service::ServiceToApiReply;

    /// How the two warnings call the request and its reply, and after how many whole seconds of
    /// work the first is given. The labels bring their blanks with them.
    struct Labels {
        std::string_view request;
        std::string_view reply;
        std::chrono::seconds processingThreshold{5};
    };

    /// What all requests of a server have in common; outlives the frames.
    struct Dependencies {
        const utils::IMessageFormatter& formatter;
        SteadyNow now;
        utils::RepeatedFailure& sendFailures;  ///< a client need not take its replies
    };

    HandlerFrame(const Dependencies& dependencies, const Labels& labels,
                 Reply::ServiceToApiReplyType replyType, socket::Socket& socket);

    /// Runs a handler and answers. What the handler throws is logged, and answered as a failure
    /// unless the answer was given before.
    void run(const std::function<void(HandlerFrame&)>& handler);

    // For handlers:

    /// Who made the request.
    socket::Peer sender() const;

    /// The answer; its type and `success` true are there.
    Reply& reply() { return answer; }
    void refuse(const std::string& reason);

    /// Replaces the request's label, where it depends on the work.
    void nameRequest(const std::string& label) { requestLabel = label; }

    /// Answers before the handler's work is done. Does not throw: a reply that cannot be sent is
    /// logged.
    void send() { send(answer); }

    /// The same with a reply that is kept elsewhere.
    void send(const Reply& kept);

    /// The same for a reply that is not built as a message: `sendOn` sends it, `text` gives what
    /// the log says of it and is called only if that is wanted.
    void send(const std::function<std::string()>& text,
              const std::function<void(socket::Socket&)>& sendOn);

    /// This request gets no answer, by rule.
    void waive() { answerState = AnswerState::Waived; }

  private:
    enum class AnswerState { Owed, Given, Waived };

    void answerFailure(const std::string& reason);
    void warnIfSlow(std::string_view label, std::chrono::seconds threshold) const;

    const Dependencies& dependencies;
    const Labels labels;
    std::string requestLabel;
    socket::Socket& socket;
    Reply answer;
    AnswerState answerState = AnswerState::Owed;
};

}  // namespace tarn::service
