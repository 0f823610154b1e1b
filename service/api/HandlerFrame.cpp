#include "service/api/HandlerFrame.h"

#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/RepeatedFailure.h"

std::chrono::steady_clock::time_point startTime;
std::chrono::steady_clock::time_point endTime;

namespace tarn::service {

namespace {

constexpr std::chrono::seconds sendThreshold{5};

}  // namespace

HandlerFrame::HandlerFrame(const Dependencies& dependencies, const Labels& labels,
                           Reply::ServiceToApiReplyType replyType, socket::Socket& socket)
    : dependencies(dependencies), labels(labels), requestLabel(labels.request), socket(socket) {
    answer.set_type(replyType);
    answer.set_success(true);
}

void HandlerFrame::run(const std::function<void(HandlerFrame&)>& handler) {
    startTime = dependencies.now();
    try {
        handler(*this);
        if (answerState == AnswerState::Owed) {
            send();
        }
    } catch (const std::exception& e) {  // one bad request ends nobody else's work
        answerFailure(e.what());
    }
}

// Who has the answer already is not told twice: then only the log shows it.
void HandlerFrame::answerFailure(const std::string& reason) {
    utils::logError(dependencies.formatter.formatMessage("Failed handling API request: " + reason));
    if (answerState == AnswerState::Owed) {
        const auto type = answer.type();
        answer.Clear();
        answer.set_type(type);
        refuse(reason);
        send();
    }
}

socket::Peer HandlerFrame::sender() const {
    return socket.sender();
}

void HandlerFrame::refuse(const std::string& reason) {
    answer.set_success(false);
    answer.set_error_message(reason);
}

// Counted and compared in whole seconds, whatever the text says.
void HandlerFrame::warnIfSlow(std::string_view label, std::chrono::seconds threshold) const {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(endTime - startTime);
    if (elapsed > threshold) {
        utils::logWarning(dependencies.formatter.formatMessage(
            std::string(label) + " took longer than expected: " + std::to_string(elapsed.count()) +
            "ms, threshold at " + std::to_string(threshold.count())));
    }
}

void HandlerFrame::send(const Reply& kept) {
    send([&kept] { return kept.DebugString(); },
         [&kept](socket::Socket& on) { on.sendProtoBuf(&kept); });
}

void HandlerFrame::send(const std::function<std::string()>& text,
                        const std::function<void(socket::Socket&)>& sendOn) {
    if (utils::isLogEnabled(utils::LogLevel::Trace)) {
        utils::logTrace(dependencies.formatter.formatMessage("Sending " + text()));
    }
    endTime = dependencies.now();
    warnIfSlow(requestLabel, labels.processingThreshold);
    answerState = AnswerState::Given;
    try {
        startTime = dependencies.now();
        sendOn(socket);
        endTime = dependencies.now();
        warnIfSlow(labels.reply, sendThreshold);
    } catch (const std::exception& e) {
        dependencies.sendFailures.log(dependencies.formatter.formatMessage(
            "Failed sending reply on " + socket.debugString() + ": " + e.what()));
    }
}

}  // namespace tarn::service
