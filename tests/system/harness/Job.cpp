#include "tests/system/harness/Job.h"

#include <utility>

#include "platform/socket/Socket.h"
#include "platform/socket/SocketEndpoint.h"
#include "tests/support/Eventually.h"

namespace tarn::test {

namespace monitoring = proto::job_monitoring;

namespace {

constexpr std::uint32_t largestMessage = 16u << 20;

bool isEnd(const Job::Event& event) {
    return event.type() == Job::Event::END;
}

}  // namespace

Job::Job(JobAddress given)
    : address(std::move(given)),
      collector([this](const std::stop_token& stop) { collect(stop); }) {}

void Job::collect(const std::stop_token& stop) {
    constexpr std::uint32_t lookForStopMs = 50;
    socket::Socket events("Test events", socket::ClosePolicy::Discard);
    events.createAndConnect(socket::Protocol::Subscribe,
                            socket::SocketEndpoint::FromString(address.eventEndpoint), 0);
    while (!stop.stop_requested()) {
        std::string error;
        if (events.poll(lookForStopMs, error) != 0) {
            continue;
        }
        Event event;
        events.receiveProtoBuf(&event, largestMessage);
        received.lock()->push_back(std::move(event));
    }
}

std::optional<Job::Status> Job::status() const {
    return JobCommands(address.commandEndpoint).status();
}

bool Job::waitUntilPlaying() const {
    return eventually(
        [this] {
            const auto now = status();
            return now && now->state() == monitoring::JOB_STATE_PLAYING && now->has_pipeline_pid();
        },
        patience);
}

bool Job::destroy() const {
    return JobCommands(address.commandEndpoint).destroy(JobCommands::End::ForGood);
}

bool Job::stop() const {
    return JobCommands(address.commandEndpoint).destroy(JobCommands::End::UntilNextStart);
}

std::vector<Job::Event> Job::events() const {
    return *received.lock();
}

bool Job::waitForEvent(const std::function<bool(const Event&)>& wanted,
                       std::chrono::milliseconds bound) const {
    return eventually(
        [&] {
            for (const auto& event : events()) {
                if (wanted(event)) {
                    return true;
                }
            }
            return false;
        },
        bound);
}

std::optional<Job::End> Job::waitForEnd(std::chrono::milliseconds bound) const {
    if (!waitForEvent(isEnd, bound)) {
        return std::nullopt;
    }
    for (const auto& event : events()) {
        if (isEnd(event)) {
            return event.GetExtension(monitoring::JobEventEnd::base);
        }
    }
    return std::nullopt;
}

}  // namespace tarn::test
