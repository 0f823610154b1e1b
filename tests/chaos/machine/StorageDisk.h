#pragma once

#include <memory>
#include <string>

#include "tests/failing_disk/Disk.h"
#include "tests/failing_disk/Mount.h"

namespace tarn::chaos {

/// The disk that the loop storage has for its tracks: one that fails when it is told to, where this
/// machine allows for it, and otherwise the machine's own.
class StorageDisk {
  public:
    StorageDisk();

    static constexpr auto folder = "/var/log/tracks";

    /// Null where it cannot be made to fail.
    failing_disk::Disk* disk() { return mount ? &plates : nullptr; }
    /// As the disk has it.
    std::string pathOfData(std::int64_t track) const;

  private:
    failing_disk::Disk plates;
    std::unique_ptr<failing_disk::Mount> mount;
};

}  // namespace tarn::chaos
