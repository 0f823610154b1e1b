#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "peers/loop_storage/ring/Track.h"
#include "platform/utils/Synchronised.h"

namespace tarn::peers::loop_storage {

class Catalogue;
class DiskPool;

/// A thread that has what writers have written brought to the disk: every 2 s, and before a writer
/// has to wait for it. Each track on its own queue, so that none waits for another's disk.
///
///   Asleep -> Looking   something is written: it looks every 100 ms what has to be brought there
///   Looking -> Asleep   no track has anything left
class Checkpoints {
  public:
    Checkpoints(Catalogue& catalogue, DiskPool& pool);
    /// What has been given to the pool by then is done all the same.
    ~Checkpoints();
    Checkpoints(const Checkpoints&) = delete;
    Checkpoints& operator=(const Checkpoints&) = delete;

    /// A place was reserved, or a frame committed. Any thread; mostly without a lock.
    void noteWriting();

  private:
    void run();
    bool waitForWriting();
    void lookUntilNothingIsLeft();
    bool waitForNextLook();
    bool look(bool isTime);
    void have(const std::shared_ptr<Track>& track, Track::Need need);

    Catalogue& catalogue;
    DiskPool& pool;
    using Ids = utils::Synchronised<std::set<std::int64_t>>;
    const std::shared_ptr<Ids> underWay = std::make_shared<Ids>();  ///< tracks: one at a time each

    std::atomic<bool> isLooking = false;

    std::mutex mutex;
    std::condition_variable changed;
    bool mustEnd = false;  // guarded by the mutex
    std::thread thread;
};

}  // namespace tarn::peers::loop_storage
