#pragma once

#include <cstdint>
#include <string>

#include "platform/os/FileDescriptor.h"

namespace tarn::cell {

/// What may be done below a path.
enum class Access {
    Read,        ///< read, list, and start programs
    ReadDevice,  ///< read, write, and what only a device understands
    Write,       ///< read, list, make, change and remove; start nothing
};

/// Landlock's rules for the calling thread: nothing is allowed that no rule names.
class Ruleset {
  public:
    /// `version` is that of the kernel, at least 1. Throws std::system_error.
    explicit Ruleset(int version);

    /// False, with errno, when there is nothing at the path or it cannot be opened.
    bool allow(const std::string& path, Access access);

    /// From now on. The process has given up new privileges before. Throws std::system_error.
    void enforce() const;

  private:
    std::uint64_t rightsFor(Access access) const;

    const std::uint64_t known;  // what this kernel can refuse
    const os::FileDescriptor rules;
};

}  // namespace tarn::cell
