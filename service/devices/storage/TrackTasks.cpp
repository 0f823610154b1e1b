#include "service/devices/storage/TrackTasks.h"

#include <utility>

#include "platform/os/Deadline.h"
#include "service/devices/storage/CreateTrackRunner.h"
#include "service/devices/storage/DeleteTrackRunner.h"
#include "service/devices/storage/ResizeTrackRunner.h"

namespace tarn::service::devices {

namespace {

constexpr std::int64_t firstTicket = 10000001;

using Runners = std::vector<std::shared_ptr<BaseRunner>>;

// A thread that has ended keeps its stack until it is joined.
void joinFinished(Runners& runners) {
    std::erase_if(runners, [](const auto& runner) {
        const bool finished = runner->result().status == BaseRunner::Status::Finished;
        if (finished) {
            runner->join();
        }
        return finished;
    });
}

template <typename Table>
const BaseRunner* findIn(const Table& table, std::int64_t ticket) {
    const auto found = table.find(ticket);
    return found == table.end() ? nullptr : found->second.get();
}

}  // namespace

TrackTasks::~TrackTasks() {
    joinAll();
}

std::int64_t TrackTasks::add(std::shared_ptr<CreateTrackRunner> runner) {
    return insert(&Tables::trackCreationTasks, std::move(runner));
}

std::int64_t TrackTasks::add(std::shared_ptr<DeleteTrackRunner> runner) {
    return insert(&Tables::trackDestructionTasks, std::move(runner));
}

std::int64_t TrackTasks::add(std::shared_ptr<ResizeTrackRunner> runner) {
    return insert(&Tables::trackResizeTasks, std::move(runner));
}

template <typename Runner>
std::int64_t TrackTasks::insert(Table<Runner> Tables::*table, std::shared_ptr<Runner> runner) {
    auto all = tables.lock();
    joinFinished(all->unjoined);
    if (all->unjoined.size() < mostRunning) {
        all->unjoined.push_back(runner);
    } else {
        runner->refuse("Too many operations on tracks run already");
    }
    const auto ticket = all->pseudoTicketCounter++ + firstTicket;
    ((*all).*table).emplace(ticket, std::move(runner));
    return ticket;
}

std::optional<TrackTasks::Found> TrackTasks::find(std::int64_t ticket) const {
    auto all = tables.lock();
    if (const auto* const creation = findIn(all->trackCreationTasks, ticket)) {
        const auto result = creation->result();
        const bool hasTrack = result.trackId >= 0;
        return Found{result, hasTrack ? std::optional(result.trackId) : std::nullopt};
    }
    const auto* runner = findIn(all->trackDestructionTasks, ticket);
    if (!runner) {
        runner = findIn(all->trackResizeTasks, ticket);
    }
    return runner ? std::optional(Found{runner->result(), std::nullopt}) : std::nullopt;
}

void TrackTasks::joinAll(std::chrono::milliseconds patience) {
    const os::Deadline deadline(patience);
    const auto running = std::exchange(tables.lock()->unjoined, {});
    for (const auto& runner : running) {
        runner->waitFor(deadline.remaining());
    }
    for (const auto& runner : running) {
        runner->join();
    }
}

}  // namespace tarn::service::devices
