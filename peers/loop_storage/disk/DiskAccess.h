#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace tarn::peers::loop_storage {

/// What one thread tells of its accesses to disks to whoever watches over it.
class DiskAccesses {
  public:
    /// `atBegin` is called on the thread itself, at each access.
    explicit DiskAccesses(std::function<void()> atBegin) : atBegin(std::move(atBegin)) {}

    /// Odd while an access is under way, and another number at each. Any thread.
    std::uint64_t count() const { return changes.load(); }

    /// From here on the calling thread tells of its accesses here; null: nobody is told any more.
    static void Watch(DiskAccesses* accesses);

  private:
    friend class DiskAccess;
    void begin();
    void end();

    const std::function<void()> atBegin;
    std::atomic<std::uint64_t> changes = 0;  // written by the thread alone
};

/// While it lives, its thread does what is quick nearly always, and not when the disk is slow.
/// Costs some nanoseconds. One at a time in a thread.
class DiskAccess {
  public:
    DiskAccess();
    ~DiskAccess();
    DiskAccess(const DiskAccess&) = delete;
    DiskAccess& operator=(const DiskAccess&) = delete;
};

}  // namespace tarn::peers::loop_storage
