#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace tarn::peers::loop_storage {

/// Work that waits for the same part of a disk: a DiskPool does it in the order in which it came,
/// so many pieces at a time. Held by whom the work concerns; what waits outlives it.
class DiskQueue {
  public:
    using Work = std::function<void()>;

    explicit DiskQueue(std::size_t atOnce = 1);
    ~DiskQueue();
    DiskQueue(const DiskQueue&) = delete;
    DiskQueue& operator=(const DiskQueue&) = delete;

  private:
    friend class DiskPool;
    struct State;  // the pool's mutex guards it

    const std::shared_ptr<State> state;
};

}  // namespace tarn::peers::loop_storage
