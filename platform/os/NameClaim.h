#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/os/RunTimeFolder.h"

namespace tarn::os {

/// A name that at most one of this user's processes on the machine has. It is a lock on a file in a
/// folder that nobody else can look into, so that nobody else can take it. The kernel takes it
/// back when its holder ends, however that comes about and whatever copies of the holder live on:
/// the lock is the process's, and those that it forks do not have it. Any thread.
class NameClaim {
  public:
    /// A name of any bytes, however many. Nothing when somebody has it already. Throws
    /// std::runtime_error when it cannot be asked for. The folder is private to the user.
    static std::optional<NameClaim> TryTake(std::string_view name,
                                            const std::string& folder = claimFolder());

    NameClaim(NameClaim&&) noexcept;
    NameClaim& operator=(NameClaim&&) noexcept;
    ~NameClaim();  ///< gives the name back, unless this is a forked copy of its holder

  private:
    class Lock;
    explicit NameClaim(std::unique_ptr<Lock> lock);

    std::unique_ptr<Lock> lock;
};

}  // namespace tarn::os
