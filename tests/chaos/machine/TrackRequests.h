#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "proto/loop_storage.pb.h"
#include "tests/system/harness/Api.h"

namespace tarn::chaos {

/// A slow operation on the tracks.
struct TrackChange {
    enum class Kind { Create, Resize, Destroy };
    Kind kind = Kind::Create;
    std::int64_t track = -1;  ///< of one that is created: known in the end
    std::uint64_t size = 0;
};

/// Orders to the loop storage, through the service.
class TrackRequests {
  public:
    explicit TrackRequests(const std::string& requestsEndpoint) : client(requestsEndpoint) {}

    /// Waits for its end; why it failed, or nothing.
    std::optional<std::string> carryOut(TrackChange& change);

    /// Sends the order and waits for nothing.
    void begin(const TrackChange& change);

    /// Why it failed, or nothing.
    std::optional<std::string> clear(std::int64_t track);

  private:
    using Reply = proto::loop_storage::Reply;
    using Request = proto::loop_storage::Request;

    Reply ask(const Request& request);

    test::Api client;
};

}  // namespace tarn::chaos
