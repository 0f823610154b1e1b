#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tarn::storage_wire {

/// What comes with the answer to one request, at most.
constexpr std::size_t mostDescriptors = 2;

/// The page beside a data file that readers on the same machine read by themselves, at its
/// beginning. The server raises it before it writes over anything; it never sinks.
///
/// A frame that was read is whole if the limit read afterwards is at most one ring beyond the
/// frame's position.
struct LimitPage {
    std::atomic<std::uint64_t> limit;
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

constexpr std::size_t limitPageSize = 4096;

/// Orders this process's accesses to the ring's file and to the page, as the other process sees
/// them. The thread sanitizer does not know fences; threads of one process share neither.
inline void orderRingAndLimit() {
#if !defined(__SANITIZE_THREAD__)
    std::atomic_thread_fence(std::memory_order_seq_cst);
#endif
}

}  // namespace tarn::storage_wire
