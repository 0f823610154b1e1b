#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tarn::peers::loop_storage {

/// A thread that does one piece of work after the other, in the order they came.
class WorkQueue {
  public:
    using Work = std::function<void()>;

    explicit WorkQueue(std::size_t longest);
    /// Lets the piece that runs come to its end; what waits is not run.
    ~WorkQueue();
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;

    /// Any thread. False, and nothing happens, while too much waits already or at the end. What the
    /// work throws is logged.
    bool add(Work work);

    /// Returns when all that was added before has run. Not from the thread itself.
    void finish();

  private:
    void run();

    const std::size_t longest;
    std::mutex mutex;  // guards what follows
    std::condition_variable changed;
    std::deque<Work> waiting;
    enum class State { Open, Ending } state = State::Open;
    std::size_t running = 0;
    std::thread thread;
};

}  // namespace tarn::peers::loop_storage
