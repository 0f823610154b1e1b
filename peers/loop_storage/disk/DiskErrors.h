#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <system_error>

#include "platform/utils/RepeatedFailure.h"

namespace tarn::peers::loop_storage {

/// What has gone wrong with one track's files since the server started: counted, and logged, though
/// not each time. Any thread.
class DiskErrors {
  public:
    explicit DiskErrors(std::int64_t track);

    std::uint64_t count() const { return errors.load(std::memory_order_relaxed); }
    void note(const std::system_error& failure);

    /// What the work returns; a failure of the system is noted on its way through.
    template <typename Work>
    decltype(auto) noting(Work&& work) {
        try {
            return work();
        } catch (const std::system_error& failure) {
            note(failure);
            throw;
        }
    }

  private:
    const std::string trackName;
    std::atomic<std::uint64_t> errors = 0;
    std::mutex mutex;
    utils::RepeatedFailure lines{utils::LogLevel::Error};  // guarded by it
};

}  // namespace tarn::peers::loop_storage
