#pragma once

#include <cstdint>

#include "platform/storage_client/connection/ServerConnection.h"

namespace tarn::storage_client {

/// Attaches to a track with `request`, which says as what. The answer holds the track. Throws
/// Failure.
ServerConnection::Answer attachWorker(ServerConnection& connection,
                                      ServerConnection::Request& request, std::int64_t track,
                                      const char* name);

}  // namespace tarn::storage_client
