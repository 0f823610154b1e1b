#pragma once

#include <sys/types.h>

#include <cstddef>

namespace tarn::peers::loop_storage {

/// What DiskFile asks of the operating system: -1 and errno for a failure, as there. Tests of disks
/// that fail or hang put others in its place. Any thread.
class DiskOperations {
  public:
    virtual ~DiskOperations() = default;

    virtual int open(const char* path, int flags, mode_t mode);
    virtual ssize_t read(int file, void* bytes, std::size_t size, off_t offset);
    /// What is in memory of it: fewer bytes, or -1, rather than waiting for the disk.
    virtual ssize_t readFromMemory(int file, void* bytes, std::size_t size, off_t offset);
    virtual ssize_t write(int file, const void* bytes, std::size_t size, off_t offset);
    /// A file's bytes, and the entries of a folder.
    virtual int syncData(int file);
    virtual int syncFolder(int folder);
};

/// Those that files use.
DiskOperations& diskOperations();
/// Null: the system's again. While no file is open.
void setDiskOperations(DiskOperations* operations);

}  // namespace tarn::peers::loop_storage
