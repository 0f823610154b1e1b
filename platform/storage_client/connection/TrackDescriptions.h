#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "proto/storage_wire.fwd.h"

namespace tarn::storage_client {

class ServerConnection;

/// Asks for what a track is, and reads ahead: who asks for the tracks of a list one after the other
/// is answered from one exchange for many of them. What was read ahead is forgotten after a few
/// milliseconds, and by everything that this connection changes.
class TrackDescriptions {
  public:
    using Track = tarn::proto::storage_wire::Track;
    using Clock = std::chrono::steady_clock;

    TrackDescriptions();
    ~TrackDescriptions();
    TrackDescriptions(TrackDescriptions&&) noexcept;
    TrackDescriptions& operator=(TrackDescriptions&&) = delete;

    /// The ids in the order in which they will be asked for, probably.
    void expect(std::vector<std::int64_t> ids);
    void forget();

    /// Throws Failure, of type NOT_FOUND for a track that is not there. Valid until the next call.
    const Track& get(ServerConnection& connection, std::int64_t id);

  private:
    std::vector<std::int64_t> toRead(std::int64_t id) const;
    void read(ServerConnection& connection, std::int64_t id);

    std::vector<std::int64_t> expected;  // ascending
    std::map<std::int64_t, Track> tracks;
    Clock::time_point readAt;
};

}  // namespace tarn::storage_client
