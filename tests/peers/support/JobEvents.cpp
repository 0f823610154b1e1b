#include "tests/peers/support/JobEvents.h"

#include <algorithm>

namespace tarn::test {

using namespace tarn::proto::job_monitoring;

JobEvents::JobEvents(const std::string& endpoint)
    : socket("Events of a job", tarn::socket::ClosePolicy::Discard) {
    socket.createAndConnect(tarn::socket::Protocol::Subscribe,
                            tarn::socket::SocketEndpoint::FromString(endpoint), 0);
}

std::optional<JobEvents::Event> JobEvents::next(std::chrono::steady_clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    std::string error;
    if (left.count() <= 0 || socket.poll(static_cast<std::uint32_t>(left.count()), error) != 0) {
        return std::nullopt;
    }
    Event event;
    socket.receiveProtoBuf(&event, 65536);
    received.push_back(event);
    return event;
}

bool JobEvents::waitForState(JobState state) {
    return waitFor([&](const Event& event) {
               return event.type() == Event::STATE &&
                      event.GetExtension(JobEventState::base).state() == state;
           })
        .has_value();
}

std::optional<JobEventEnd> JobEvents::waitForEnd() {
    const auto event = waitFor([](const Event& e) { return e.type() == Event::END; });
    return event ? std::optional(event->GetExtension(JobEventEnd::base)) : std::nullopt;
}

std::optional<JobEventFailure> JobEvents::waitForFailure() {
    const auto event = waitFor([](const Event& e) { return e.type() == Event::FAILURE; });
    return event ? std::optional(event->GetExtension(JobEventFailure::base)) : std::nullopt;
}

bool JobEvents::has(Event::Type type) const {
    return std::any_of(received.begin(), received.end(),
                       [&](const Event& event) { return event.type() == type; });
}

}  // namespace tarn::test
