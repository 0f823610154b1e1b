#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

namespace tarn::peers::loop_storage {

class Catalogue;

/// A thread that brings what writers have written to the disk: every 2 s, and before a writer has
/// to wait for it.
class Checkpoints {
  public:
    explicit Checkpoints(Catalogue& catalogue);
    ~Checkpoints();
    Checkpoints(const Checkpoints&) = delete;
    Checkpoints& operator=(const Checkpoints&) = delete;

  private:
    void run();
    void look(bool isTime);

    Catalogue& catalogue;
    std::mutex mutex;
    std::condition_variable changed;
    bool mustEnd = false;  // guarded by the mutex
    std::thread thread;
};

}  // namespace tarn::peers::loop_storage
