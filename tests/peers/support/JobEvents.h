#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/socket/Socket.h"
#include "proto/job_monitoring.pb.h"

namespace tarn::test {

/// Subscribes to a job's events and keeps them.
class JobEvents {
  public:
    using Event = tarn::proto::job_monitoring::JobEvent;

    explicit JobEvents(const std::string& endpoint);

    /// The first event after those that were waited for already which the condition holds for;
    /// nothing when the bound passed without one.
    template <typename Condition>
    std::optional<Event> waitFor(Condition condition,
                                 std::chrono::milliseconds bound = std::chrono::seconds(15)) {
        const auto deadline = std::chrono::steady_clock::now() + bound;
        while (auto event = next(deadline)) {
            if (condition(*event)) {
                return event;
            }
        }
        return std::nullopt;
    }

    bool waitForState(tarn::proto::job_monitoring::JobState state);
    std::optional<tarn::proto::job_monitoring::JobEventEnd> waitForEnd();
    std::optional<tarn::proto::job_monitoring::JobEventFailure> waitForFailure();

    /// Everything received so far.
    const std::vector<Event>& all() const { return received; }
    bool has(Event::Type type) const;

  private:
    std::optional<Event> next(std::chrono::steady_clock::time_point deadline);

    tarn::socket::Socket socket;
    std::vector<Event> received;
};

}  // namespace tarn::test
