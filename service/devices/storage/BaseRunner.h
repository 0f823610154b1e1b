#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "platform/utils/Synchronised.h"
#include "service/devices/ControllerThread.h"
#include "service/devices/storage/StorageConnection.h"

namespace tarn::service::devices {

/// One slow operation on a track, on a thread and a connection of its own.
///
///     Running --the operation has ended, well or not--> Finished
///
/// start is called once; the result may be read by any thread at any time.
class BaseRunner {
  public:
    /// By number: what ticket states are called in the messages, too.
    enum class Status { Running = 5, Finished = 2 };

    struct Result {
        Status status = Status::Running;
        bool failed = false;
        std::string errorMessage;   ///< why, when it failed
        std::int64_t trackId = -1;  ///< the track concerned; -1 until a created one is known
    };

    BaseRunner(const BaseRunner&) = delete;
    BaseRunner& operator=(const BaseRunner&) = delete;

    /// Begins on a new thread, and returns at once. Without a thread left the operation has failed.
    /// Does nothing after refuse.
    void start();

    /// The operation has failed before it began.
    void refuse(const std::string& reason) { finish(reason); }

    /// Waits for the operation's end; false when it has not come within the bound.
    bool waitFor(std::chrono::milliseconds bound);

    /// Joins the thread. An operation that still runs there is left to the server, and has failed
    /// as far as this object knows; that takes 5 s at most.
    void join();

    Result result() const { return *current.lock(); }

    /// What the thread does: the whole operation, to its end.
    virtual void run() = 0;

  protected:
    BaseRunner(StorageAddress address, std::uint64_t size, std::int64_t trackId);
    ~BaseRunner() = default;  ///< a derived class joins in its own, while run is still there

    /// Why it failed; nothing after a success.
    using Problem = std::optional<std::string>;
    /// A call of the library that begins the operation and waits for its end, which is the result;
    /// `ticket` is the server's for it.
    using Operation = std::function<std::int64_t(tarn_storage_connection* connection,
                                                 std::int64_t* ticket, tarn_storage_error* error)>;
    /// What the operation's result comes to.
    using Judgement = std::function<Problem(std::int64_t result)>;

    /// Connects, does the operation and notes how it ended. However long that takes: when the
    /// library has waited long enough, its ticket is followed on a new connection.
    void runOnConnection(const Operation& operation, const Judgement& judgement);

    std::uint64_t getSize() const { return size; }
    std::int64_t getTrackId() const { return current.lock()->trackId; }
    void setTrackId(std::int64_t id) { current.lock()->trackId = id; }

  private:
    Problem perform(const Operation& operation, const Judgement& judgement) const;
    enum class Call { Ended, Waiting };
    Call call(const Operation& operation, std::int64_t& ticket, const Judgement& judgement,
              Problem& problem) const;
    void finish(const Problem& problem);

    const StorageAddress address;
    const std::uint64_t size;  ///< the one asked for, in bytes
    mutable utils::Synchronised<Result> current;
    std::condition_variable finished;
    std::stop_token stop;  // set and used by the thread
    ControllerThread thread;
};

}  // namespace tarn::service::devices
