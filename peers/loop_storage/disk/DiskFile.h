#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/os/FileDescriptor.h"

namespace tarn::peers::loop_storage {

/// An open file that is read and written at offsets. Reading and writing from several threads at
/// once is fine. Everything throws std::system_error that names the file.
class DiskFile {
  public:
    enum class Mode { CreateNew, Existing, ReadOnly };

    DiskFile(std::filesystem::path path, Mode mode);

    void writeAt(std::uint64_t offset, const void* bytes, std::size_t size) const;
    /// All of it; also throws where the file ends before.
    void readAt(std::uint64_t offset, void* bytes, std::size_t size) const;
    /// The same without ever waiting for the disk: false where not all of it is in memory, or the
    /// file system cannot tell.
    bool readFromMemory(std::uint64_t offset, void* bytes, std::size_t size) const;

    /// Takes space on the disk for bytes at the end of a file, which are zeros then; 0 or an error
    /// number.
    using TakeSpace = int (*)(int file, std::uint64_t offset, std::uint64_t length);
    static int AskFileSystem(int file, std::uint64_t offset, std::uint64_t length);

    /// Makes the file `size` bytes long, with disk space for each of them: in steps, between two of
    /// which `check` may throw. Where the file system has no such call, zeros are written.
    void allocate(std::uint64_t size, const std::function<void()>& check,
                  TakeSpace takeSpace = AskFileSystem) const;
    void truncate(std::uint64_t size) const;
    /// Its bytes are on the disk afterwards.
    void sync() const;
    std::uint64_t size() const;

    const std::filesystem::path& path() const { return filePath; }
    /// Another descriptor of it, with which nobody can write.
    os::FileDescriptor openForReading() const;

  private:
    [[noreturn]] void fail(int error, const char* action) const;
    void writeZeros(std::uint64_t from, std::uint64_t to, const std::function<void()>& check) const;

    std::filesystem::path filePath;
    os::FileDescriptor descriptor;
};

/// What was created, renamed or removed in this folder is on the disk afterwards.
void syncFolder(const std::filesystem::path& folder);

/// The content of a small file, at most `limit` bytes; throws std::system_error.
std::string readSmallFile(const std::filesystem::path& path, std::size_t limit);

/// Replaces the file, or makes it: after a crash it is the old one or the new one, whole.
void replaceFile(const std::filesystem::path& path, const std::string& content);

}  // namespace tarn::peers::loop_storage
