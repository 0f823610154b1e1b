#pragma once

#include <memory>
#include <string>

#include "platform/resource_manager/registry/RegistryStore.h"

namespace SQLite {
class Database;
}

namespace tarn::resource_manager {

/// The registry in an SQLite file. Each change is one transaction: a process that is killed at any
/// moment leaves the state before or after it. Nothing is synced to the disk, since the file is not
/// wanted any more after the machine went down.
///
/// While somebody else holds the file locked, an operation waits for one second and then throws;
/// `replace` throws at once.
class RegistryFile : public RegistryStore {
  public:
    /// Opens the file or begins one, and checks it. Throws std::runtime_error when it is no
    /// registry, is damaged, or cannot be opened or written.
    explicit RegistryFile(const std::string& path);
    ~RegistryFile() override;

    /// Throws std::runtime_error when a record cannot be read.
    RegistryContents load();

    void apply(const RegistryChange& change) override;
    void replace(const RegistryContents& contents) override;

  private:
    void createTables();
    void write(const RegistryChange& change);  // inside a transaction

    std::unique_ptr<SQLite::Database> database;
};

}  // namespace tarn::resource_manager
