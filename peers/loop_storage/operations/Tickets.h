#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace tarn::peers::loop_storage {

/// How far a long operation is.
struct TicketInfo {
    int state = 0;           ///< tarn_storage_ticket_state
    std::int64_t value = 0;  ///< finished: the track created, or the size reached
    int error = 0;           ///< failed: tarn_storage_error_type
    std::string message;
};

/// The long operations by their numbers: 1, 2, ... Of those that are over, the last `remembered`
/// are known. Any thread.
///
///   Queued -> Running -> Finished | Failed | Cancelled
class Tickets {
  public:
    explicit Tickets(std::size_t remembered) : remembered(remembered) {}

    std::int64_t add();
    void setRunning(std::int64_t ticket);
    void finish(std::int64_t ticket, std::int64_t value);
    void fail(std::int64_t ticket, const std::exception& failure);
    void cancel(std::int64_t ticket);

    /// Throws StorageError, NOT_FOUND.
    TicketInfo get(std::int64_t ticket) const;
    /// Calls back once when it is over, on the thread that ends it; at once when it is already, or
    /// is not known. `who` waits for it at most once, until it is called off.
    void callAtEnd(std::int64_t ticket, const void* who, std::function<void()> callback);
    void callOff(std::int64_t ticket, const void* who);

  private:
    struct Entry {
        TicketInfo info;
        std::map<const void*, std::function<void()>> waiting;
    };
    void end(std::int64_t ticket, TicketInfo info);

    const std::size_t remembered;
    mutable std::mutex mutex;  // guards what follows
    std::int64_t last = 0;
    std::map<std::int64_t, Entry> entries;
    std::deque<std::int64_t> over;
};

}  // namespace tarn::peers::loop_storage
