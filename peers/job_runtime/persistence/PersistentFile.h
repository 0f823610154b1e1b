#pragma once

#include <filesystem>
#include <string>

namespace tarn::os {
class FileReplacement;
}

namespace tarn::peers {

/// The file from which the service starts a job again after its own restart.
class PersistentFile {
  public:
    /// `draftName` names the file while it is being written, in a folder beside it; that of the
    /// file itself unless given. Whoever may write the same file at the same time needs another.
    /// Throws std::invalid_argument when `path` is not absolute or its folder does not exist.
    explicit PersistentFile(std::string path, const std::string& draftName = {});

    /// Replaces the file as a whole: after a crash at any moment it holds the old content or the
    /// new one. Throws std::system_error, and leaves the old content then.
    void write(const std::string& content) const;

    /// The same where nothing is; false, and nothing is changed, where somebody was faster.
    bool create(const std::string& content) const;

    /// What it holds; empty when it is not there, is no regular file, cannot be read or is larger
    /// than any job's.
    std::string read() const;

    /// Gone afterwards, also when it was not there. Throws std::system_error.
    void remove() const;

  private:
    os::FileReplacement replacement() const;

    const std::string path;
    const std::filesystem::path draft;
};

}  // namespace tarn::peers
