#pragma once

#include <sys/un.h>

#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// A name that at most one on the machine has, in whatever process. It is no file, and the kernel
/// takes it back when its holder ends, however that comes about.
class NameClaim {
  public:
    static constexpr std::size_t longestName = sizeof(sockaddr_un::sun_path) - 2;

    /// Nothing when somebody has the name already. Throws std::system_error when it cannot be asked
    /// for, std::invalid_argument for one that is too long.
    static std::optional<NameClaim> TryTake(std::string_view name);

  private:
    explicit NameClaim(FileDescriptor holder) : holder(std::move(holder)) {}

    FileDescriptor holder;
};

}  // namespace tarn::os
