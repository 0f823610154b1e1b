#pragma once

#include <cstdint>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "service/devices/storage/StorageConnection.h"
#include "tests/chaos/model/FrameLedger.h"

namespace tarn::chaos {

/// Writes frames into a track of its own as long as there is a server, on a thread of its own. Each
/// time that it finds one it first reads the track from its oldest frame on, and demands what the
/// ledger demands.
class FrameWriter {
  public:
    struct Figures {
        std::int64_t acknowledged = 0;  ///< frames
        unsigned checks = 0;
        std::uint64_t checkedFrames = 0;
    };

    FrameWriter(service::devices::StorageAddress storage, std::int64_t track,
                std::uint64_t ringSize);

    /// Ends the writing, and looks at the track once more: the server must be there. Afterwards
    /// nothing is attached.
    void finish();

    Figures figures() const;

    /// What was wrong since the last call, one line each.
    std::vector<std::string> takeProblems();

  private:
    enum class Server { There, Gone };

    void run(const std::stop_token& stop);
    Server check();
    Server write(const std::stop_token& stop);
    Server gone(service::devices::StorageError& error);
    void judge(const std::vector<FrameLedger::Found>& frames);
    void complain(const std::string& problem);

    const service::devices::StorageAddress storage;
    const std::int64_t track;
    FrameLedger ledger;  // the thread's; finish's when that has ended

    mutable std::mutex mutex;
    // Guarded by mutex:
    Figures counts;
    std::vector<std::string> problems;

    std::jthread thread;  // last: it uses the others
};

}  // namespace tarn::chaos
