#pragma once

#include <filesystem>
#include <string>

namespace tarn::test {

/// Where files are. In memory, where the machine has the room, a sync costs nothing; on a disk it
/// waits for whatever else is written there, but only there the kernel tells what it has to fetch.
enum class Medium { Disk, Memory };

/// An empty folder of its own, removed with its content at the end.
class TemporaryFolder {
  public:
    explicit TemporaryFolder(Medium medium = Medium::Memory);
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }

    /// Writes a file and returns its full path.
    std::string write(const std::string& name, const std::string& content) const;

  private:
    std::filesystem::path folder;
};

/// The whole content; throws std::runtime_error when the file cannot be read.
std::string readFile(const std::filesystem::path& path);

}  // namespace tarn::test
