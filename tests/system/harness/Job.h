#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

#include "platform/utils/Synchronised.h"
#include "proto/job_monitoring.pb.h"
#include "tests/system/harness/Api.h"
#include "tests/system/harness/JobCommands.h"

namespace tarn::test {

/// A job as one sees it from outside: its commands, and its events from the moment on in which this
/// object was made.
class Job {
  public:
    using Event = proto::job_monitoring::JobEvent;
    using End = proto::job_monitoring::JobEventEnd;
    using Status = JobCommands::Status;
    static constexpr std::chrono::milliseconds patience = std::chrono::seconds(20);

    explicit Job(JobAddress address);

    const std::string& id() const { return address.id; }
    const JobAddress& where() const { return address; }

    /// Nothing when it does not answer.
    std::optional<Status> status() const;

    /// Waits until the job says that it plays.
    bool waitUntilPlaying() const;

    /// Asks it to end for good; false when it does not answer or refuses.
    bool destroy() const;
    /// Asks it to end until the next start of the service.
    bool stop() const;

    std::vector<Event> events() const;
    bool waitForEvent(const std::function<bool(const Event&)>& wanted,
                      std::chrono::milliseconds bound = patience) const;

    /// Waits for the last event.
    std::optional<End> waitForEnd(std::chrono::milliseconds bound = patience) const;

  private:
    void collect(const std::stop_token& stop);

    const JobAddress address;
    mutable utils::Synchronised<std::vector<Event>> received;
    std::jthread collector;
};

}  // namespace tarn::test
