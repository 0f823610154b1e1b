#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "peers/loop_storage/disk/DiskQueue.h"

namespace tarn::peers::loop_storage {

/// The threads that wait for disks, so that nobody else has to. There are as many as wait at a
/// time, up to a bound; those without work end after a while.
///
/// A queue takes one thread, and further ones only while most are free. So a disk that hangs costs
/// the other queues nothing, until as many hang as there may be threads.
class DiskPool {
  public:
    using Work = DiskQueue::Work;

    struct Limits {
        std::size_t threads = 256;
        std::size_t waiting = 10'000;  ///< pieces of one queue
        std::chrono::milliseconds idle{10'000};
    };

    explicit DiskPool(const Limits& limits);
    /// Finishes.
    ~DiskPool();
    DiskPool(const DiskPool&) = delete;
    DiskPool& operator=(const DiskPool&) = delete;

    /// Any thread. False, and nothing happens, while too much waits in this queue already. What the
    /// work throws is logged.
    bool add(DiskQueue& queue, Work work);

    /// Returns when all that was added has run. Not from the pool's own threads.
    void finish();

    std::size_t threadCount() const;

  private:
    using Queue = std::shared_ptr<DiskQueue::State>;
    using Threads = std::list<std::thread>;
    struct Piece {
        Queue queue;
        Work work;
    };

    void run(Threads::iterator self);
    bool waitForWork(std::unique_lock<std::mutex>& lock);
    std::deque<Queue>::iterator nextQueue();
    Piece take();
    void end(const Queue& queue);
    void makeReady(const Queue& queue);
    void haveItDone();
    void startThread();
    void retire(Threads::iterator self);

    const Limits limits;
    mutable std::mutex mutex;  // guards what follows, and every queue
    std::condition_variable changed;
    std::condition_variable allDone;
    std::deque<Queue> ready;  ///< each once, whose next piece may run
    std::size_t pieces = 0;   ///< that wait or run
    std::size_t running = 0;
    std::size_t idle = 0;
    Threads threads;
    Threads ended;  ///< to be joined
    enum class State { Open, Ending } state = State::Open;
};

}  // namespace tarn::peers::loop_storage
