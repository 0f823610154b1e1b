#pragma once

#include <cstddef>
#include <string>

#include "platform/utils/MessageFormatter.h"

namespace tarn::service::configuration {

/// Larger files are refused without being read: 16 MiB.
constexpr std::size_t largestConfigurationFile = std::size_t{16} << 20U;

/// The whole content of a regular file, never empty. Does not block, whatever `path` is. Throws
/// ConfigurationError, formatted by `reader`.
std::string readConfigurationBytes(const std::string& path, const utils::IMessageFormatter& reader);

}  // namespace tarn::service::configuration
