#pragma once

#include <memory>
#include <string>

#include "platform/resource_manager/registry/RegistryContents.h"
#include "platform/resource_manager/registry/RegistryStore.h"
#include "platform/utils/MessageFormatter.h"

namespace tarn::resource_manager {

/// The folder of the registry files: one file for each resources endpoint. Does not throw: a
/// registry that cannot be kept in a file is worth an error in the log, not the service.
class RegistryFolder : private tarn::utils::MessageFormatter {
  public:
    /// An empty path chooses "/run/halden-tarn", or "halden-tarn" in the user's run-time folder
    /// when that cannot be written.
    explicit RegistryFolder(std::string path = {});

    struct Opened {
        RegistryContents contents;
        std::unique_ptr<RegistryStore> store;  ///< null: in memory only, said in the log
    };

    /// Reads the registry of an endpoint. A file that cannot be read is renamed to
    /// "<name>.damaged-<n>", said in the log, and a new one begun.
    Opened open(const std::string& endpointText) const;

    /// The file of an endpoint, whatever its text holds.
    std::string pathFor(const std::string& endpointText) const;

  private:
    Opened openFile(const std::string& file) const;
    void putAside(const std::string& file, const std::string& reason) const;

    const std::string chosenPath;
};

}  // namespace tarn::resource_manager
