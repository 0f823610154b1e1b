#pragma once

#include <filesystem>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace tarn::test {

/// A folder that stands for a machine's root.
class MachineFolder {
  public:
    const std::filesystem::path& root() const { return folder.path(); }

    /// Also makes the folders on the way.
    void write(const std::string& path, const std::string& content) const;

  private:
    TemporaryFolder folder;
};

}  // namespace tarn::test
