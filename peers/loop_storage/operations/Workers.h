#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "peers/loop_storage/ring/Track.h"
#include "platform/utils/Synchronised.h"

namespace tarn::peers::loop_storage {

/// The client that a worker is.
struct WorkerClient {
    std::string name;             ///< as the client gives it
    std::string address;          ///< where it is, in words
    std::function<void()> evict;  ///< ends it; called from any thread, also when it has gone
};

struct Worker {
    Track::WorkerKind kind = Track::WorkerKind::Reader;
    std::int64_t track = 0;
    WorkerClient client;
};

/// Who is attached to a track now. Any thread.
class Workers {
  public:
    std::int64_t add(Worker worker);
    void remove(std::int64_t id);
    std::map<std::int64_t, Worker> all();
    std::size_t count();
    /// Ends it, soon. False when there is no worker of that id.
    bool evict(std::int64_t id);

  private:
    struct State {
        std::int64_t last = 0;
        std::map<std::int64_t, Worker> workers;
    };
    utils::Synchronised<State> state;
};

/// The name as it is kept: its first 20 bytes, or fewer where that would cut a character of UTF-8
/// in two; without control characters.
std::string workerName(const std::string& given);

}  // namespace tarn::peers::loop_storage
