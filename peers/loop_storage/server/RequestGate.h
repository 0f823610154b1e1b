#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "peers/loop_storage/server/ClientIdentity.h"
#include "platform/utils/RepeatedFailure.h"
#include "platform/utils/Synchronised.h"
#include "proto/storage_wire.fwd.h"

namespace tarn::peers::loop_storage {

/// Which level a request needs. Frames need what attaching to their track does.
access::Level levelFor(const proto::storage_wire::Request& request);

/// How a request uses the tracks that it names; nothing for one that needs none of them, or a level
/// that has all tracks.
std::optional<access::TrackAccess> trackAccessFor(const proto::storage_wire::Request& request);

/// Of an answer what a client may see: lists are without the tracks that it may not read.
proto::storage_wire::Answer visibleTo(const ClientIdentity& client,
                                      const proto::storage_wire::Answer& answer);

/// Lets requests pass by who makes them. What does not pass is logged, once a second at most. Any
/// thread.
class RequestGate {
  public:
    explicit RequestGate(utils::RepeatedFailure::Now now = std::chrono::steady_clock::now)
        : refused(utils::RepeatedFailure(utils::LogLevel::Warning, std::move(now))) {}

    /// Throws StorageError with "Access denied: " and what is needed for a request that the client
    /// may not make.
    void check(const proto::storage_wire::Request& request, const ClientIdentity& client);

  private:
    [[noreturn]] void refuse(const proto::storage_wire::Request& request,
                             const std::string& refusal);

    utils::Synchronised<utils::RepeatedFailure> refused;
};

}  // namespace tarn::peers::loop_storage
