#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/utils/Synchronised.h"
#include "service/devices/storage/BaseRunner.h"

namespace tarn::service::devices {

class CreateTrackRunner;
class DeleteTrackRunner;
class ResizeTrackRunner;

/// The slow operations on tracks since the process began, each under a ticket. Any thread.
class TrackTasks {
  public:
    /// So many operations may run at the same time: each has a thread.
    explicit TrackTasks(std::size_t mostRunning = 2000) : mostRunning(mostRunning) {}
    ~TrackTasks();  ///< joins
    TrackTasks(const TrackTasks&) = delete;
    TrackTasks& operator=(const TrackTasks&) = delete;

    /// Gives the next ticket, whatever the kind: 10000001, 10000002 and so on, which the tickets
    /// of a storage server do not come near. The runner is not started, but has failed already
    /// where too many run.
    std::int64_t add(std::shared_ptr<CreateTrackRunner> runner);
    std::int64_t add(std::shared_ptr<DeleteTrackRunner> runner);
    std::int64_t add(std::shared_ptr<ResizeTrackRunner> runner);

    struct Found {
        BaseRunner::Result result;
        std::optional<std::int64_t> createdTrackId;
    };

    /// Nothing for a ticket that is not from here.
    std::optional<Found> find(std::int64_t ticket) const;

    /// Waits until no operation runs any more. One that still runs after `patience` is left to the
    /// server, which takes 5 s at most, and has failed as far as its ticket knows.
    void joinAll(std::chrono::milliseconds patience = defaultPatience);

    static constexpr std::chrono::milliseconds defaultPatience = std::chrono::seconds(10);

  private:
    template <typename Runner>
    using Table = std::map<std::int64_t, std::shared_ptr<Runner>>;

    struct Tables {
        Table<CreateTrackRunner> trackCreationTasks;
        Table<DeleteTrackRunner> trackDestructionTasks;
        Table<ResizeTrackRunner> trackResizeTasks;
        std::int64_t pseudoTicketCounter = 0;
        std::vector<std::shared_ptr<BaseRunner>> unjoined;
    };

    template <typename Runner>
    std::int64_t insert(Table<Runner> Tables::*table, std::shared_ptr<Runner> runner);

    const std::size_t mostRunning;
    mutable utils::Synchronised<Tables> tables;
};

}  // namespace tarn::service::devices
