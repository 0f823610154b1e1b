#include "peers/job_runtime/events/EventPublisher.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/utils/Log.h"
#include "platform/utils/Secrets.h"

namespace tarn::peers {

using namespace tarn::proto::job_monitoring;

EventPublisher::EventPublisher(const tarn::socket::SocketEndpoint& endpoint, std::string id)
    : jobId(std::move(id)), socket("Job event endpoint", tarn::socket::ClosePolicy::Flush) {
    socket.setAudience(tarn::socket::Audience::Clients);
    socket.createAndConnect(tarn::socket::Protocol::Publish, endpoint, 0);
}

void EventPublisher::failure(const std::string& message, const std::string& detail) {
    JobEventFailure failure;
    failure.set_message(utils::withoutSecrets(message));
    failure.set_detail(utils::withoutSecrets(detail));
    tell(JobEvent::FAILURE, failure);
}

void EventPublisher::end(const RunResult& result, Clock::time_point until) {
    auto event = makeEvent(JobEvent::END);
    auto* const end = event.MutableExtension(JobEventEnd::base);
    end->set_reason(result.reason);
    if (result.processEnd.exitStatus) {
        end->set_exit_status(*result.processEnd.exitStatus);
    }
    if (result.processEnd.signal) {
        end->set_signal(*result.processEnd.signal);
    }
    end->set_message(utils::withoutSecrets(result.message));
    hasSubscriber();  // they all get this one
    // For who subscribes now, having been told of the endpoint a moment ago.
    do {
        send(event);
    } while (awaitNewSubscriber(until));
}

bool EventPublisher::awaitSubscriber(Clock::time_point until) {
    const bool now = awaitNewSubscriber(somebodyCame ? Clock::now() : until);
    somebodyCame = somebodyCame || now;
    return somebodyCame;
}

bool EventPublisher::awaitNewSubscriber(Clock::time_point until) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
    try {
        return socket.awaitSubscriber(
            static_cast<std::uint32_t>(std::max(left, std::chrono::milliseconds(0)).count()));
    } catch (const std::exception& e) {
        utils::logWarning(std::string("Cannot wait for subscribers: ") + e.what());
        return false;
    }
}

void EventPublisher::close() {
    socket.close();
}

JobEvent EventPublisher::makeEvent(JobEvent::Type type) const {
    JobEvent event;
    event.set_type(type);
    event.set_job_id(jobId);
    return event;
}

void EventPublisher::send(const JobEvent& event) {
    try {
        socket.sendProtoBuf(&event);
    } catch (const std::exception& e) {
        utils::logWarning(std::string("Cannot publish an event: ") + e.what());
    }
}

}  // namespace tarn::peers
