#include "service/api/HandlerFrame.h"

#include <utility>

#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "platform/utils/RepeatedFailure.h"
#include "proto/api_service.pb.h"
#include "service/api/RequestTimes.h"

namespace tarn::service {

namespace {

constexpr std::chrono::seconds sendThreshold{5};

}  // namespace

HandlerFrame::HandlerFrame(const Dependencies& dependencies, Labels labels, Work work)
    : dependencies(dependencies), labels(std::move(labels)) {
    if (work == Work::Begins) {
        startTime = dependencies.now();
    }
}

// Counted and compared in whole seconds, whatever the text says.
void HandlerFrame::warnIfSlow(const std::string& label, std::chrono::seconds threshold) const {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(endTime - startTime);
    if (elapsed > threshold) {
        utils::logWarning(dependencies.formatter.formatMessage(
            label + " took longer than expected: " + std::to_string(elapsed.count()) +
            "ms, threshold at " + std::to_string(threshold.count())));
    }
}

void HandlerFrame::send(const tarn::proto::api_service::ServiceToApiReply& reply,
                        socket::Socket& socket) {
    send([&reply] { return reply.DebugString(); }, socket,
         [&reply](socket::Socket& on) { on.sendProtoBuf(&reply); });
}

void HandlerFrame::send(const std::function<std::string()>& text, socket::Socket& socket,
                        const std::function<void(socket::Socket&)>& sendOn) {
    if (utils::isLogEnabled(utils::LogLevel::Trace)) {
        utils::logTrace(dependencies.formatter.formatMessage("Sending " + text()));
    }
    endTime = dependencies.now();
    warnIfSlow(labels.request, labels.processingThreshold);
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
