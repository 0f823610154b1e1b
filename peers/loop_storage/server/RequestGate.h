#pragma once

#include <chrono>

#include "peers/loop_storage/server/ClientIdentity.h"
#include "platform/utils/RepeatedFailure.h"
#include "platform/utils/Synchronised.h"
#include "proto/storage_wire.fwd.h"

namespace tarn::peers::loop_storage {

/// Which level a request needs. Frames need what attaching to their track does.
access::Level levelFor(const proto::storage_wire::Request& request);

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
    utils::Synchronised<utils::RepeatedFailure> refused;
};

}  // namespace tarn::peers::loop_storage
