#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <list>
#include <mutex>
#include <thread>

#include "peers/loop_storage/disk/DiskAccess.h"

namespace tarn::peers::loop_storage {

/// Runs the handlers of a context on a few threads. What a handler throws is logged and ends
/// nothing. A thread that a disk holds up within a handler (DiskAccess) is replaced by another one
/// for as long, so that so many always serve the others.
class NetworkThreads {
  public:
    struct Limits {
        std::size_t atOnce = 4;
        std::size_t most = 256;
        /// Whoever is still at the same access after two looks is held up.
        std::chrono::milliseconds look{10};
        /// So many looks later those that are too many end.
        int patience = 100;
    };

    NetworkThreads(boost::asio::io_context& context, const Limits& limits);
    NetworkThreads(const NetworkThreads&) = delete;
    NetworkThreads& operator=(const NetworkThreads&) = delete;

    /// Returns when the context has nothing more to do and every thread has ended. Once.
    void run();

    std::size_t threadCount() const;

  private:
    struct Worker {
        explicit Worker(std::function<void()> atBegin) : accesses(std::move(atBegin)) {}
        DiskAccesses accesses;
        std::uint64_t lastSeen = 0;
        bool hasEnded = false;
        std::thread thread;
    };
    using Lock = std::unique_lock<std::mutex>;

    void start();
    void serve(Worker& worker);
    enum class End { NothingLeft, Superfluous };
    End runHandlers();
    bool isOver() const;
    void watch(Lock& lock);
    bool look();
    void adapt(std::size_t held);
    void endOne();
    void joinEnded();
    void noteAccess();

    boost::asio::io_context& context;
    const Limits limits;
    std::atomic<bool> isWatching = false;

    mutable std::mutex mutex;  // guards what follows
    std::condition_variable changed;
    std::list<Worker> workers;
    std::size_t serving = 0;
    std::size_t toEnd = 0;  ///< of those
    int looksWithTooMany = 0;
};

}  // namespace tarn::peers::loop_storage
