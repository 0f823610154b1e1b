#include "service/api/HandlerFrame.h"

#include <utility>

#include "platform/socket/Socket.h"
#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "proto/api_service.pb.h"
#include "service/api/RequestTimes.h"

namespace tarn::service {

namespace {

constexpr std::chrono::seconds sendThreshold{5};

}  // namespace

HandlerFrame::HandlerFrame(const utils::IMessageFormatter& formatter, Labels labels, SteadyNow now)
    : formatter(formatter), labels(std::move(labels)), now(std::move(now)) {
    startTime = this->now();
}

// Counted and compared in whole seconds, whatever the text says.
void HandlerFrame::warnIfSlow(const std::string& label, std::chrono::seconds threshold) const {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(endTime - startTime);
    if (elapsed > threshold) {
        utils::logWarning(formatter.formatMessage(
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
        utils::logTrace(formatter.formatMessage("Sending " + text()));
    }
    endTime = now();
    warnIfSlow(labels.request, labels.processingThreshold);
    try {
        startTime = now();
        sendOn(socket);
        endTime = now();
        warnIfSlow(labels.reply, sendThreshold);
    } catch (const std::exception& e) {
        utils::logError(formatter.formatMessage("Failed sending reply on " + socket.debugString() +
                                                ": " + e.what()));
    }
}

}  // namespace tarn::service
