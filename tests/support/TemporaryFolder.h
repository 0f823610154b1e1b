#pragma once

#include <filesystem>
#include <string>

namespace tarn::test {

/// Where files are. In memory a sync costs nothing, where the machine has the room; on the disk it
/// waits for whatever else is written there.
enum class Medium { Disk, Memory };

/// An empty folder of its own, removed with its content at the end.
class TemporaryFolder {
  public:
    explicit TemporaryFolder(Medium medium = Medium::Disk);
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
