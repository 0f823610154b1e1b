#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/storage_client/connection/Stream.h"

namespace tarn::storage_client {

/// Connected sockets, encrypted where there is a protection. Throw Failure.
std::unique_ptr<Stream> connectTcp(const std::string& host, std::uint16_t port,
                                   const std::optional<Protection>& protection,
                                   const os::Deadline& deadline);
std::unique_ptr<Stream> connectUnix(const std::string& path, const os::Deadline& deadline);

}  // namespace tarn::storage_client
