#pragma once

#include <filesystem>
#include <string>

namespace tarn::fuzz {

/// A folder in memory for the files of this process, removed at its end.
class PrivateFolder {
  public:
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }
    std::string pathOf(const std::string& name) const { return (folder / name).string(); }

    /// With what there is replaced.
    std::string write(const std::string& name, const std::string& content) const;

  private:
    std::filesystem::path folder;
};

}  // namespace tarn::fuzz
