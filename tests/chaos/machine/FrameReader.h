#pragma once

#include <cstdint>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "service/devices/storage/StorageConnection.h"

namespace tarn::chaos {

/// Reads the frames of a FrameWriter while they are written, as long as there is a server, on a
/// thread of its own. Whatever it is given must be whole, and nothing may be left out unless it is
/// told that it was overtaken. It dawdles now and then, so that it is.
class FrameReader {
  public:
    FrameReader(service::devices::StorageAddress storage, std::int64_t track);

    /// Ends the reading. Afterwards nothing is attached.
    void finish();

    struct Figures {
        std::int64_t frames = 0;
        std::int64_t overtaken = 0;
    };
    Figures figures() const;

    /// What was wrong since the last call, one line each.
    std::vector<std::string> takeProblems();

  private:
    void run(const std::stop_token& stop);
    void read(const std::stop_token& stop);
    void judge(const tarn_storage_frame& frame, std::int64_t last);
    void noteOvertaken();
    void complain(const std::string& problem);

    const service::devices::StorageAddress storage;
    const std::int64_t track;

    mutable std::mutex mutex;
    // Guarded by mutex:
    Figures counts;
    std::vector<std::string> problems;

    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::chaos
