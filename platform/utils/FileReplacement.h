#pragma once

#include <string>

namespace tarn::utils {

/// A file's new content, which takes the place of the old one as a whole: after a crash at any
/// moment the file holds the old content or the new one. One thread.
class FileReplacement {
  public:
    /// Makes a temporary file beside `path`, readable by everybody. Throws std::system_error.
    explicit FileReplacement(std::string path);
    ~FileReplacement();  ///< without commit everything is as before
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Writes the content to the disk and puts it in place, once. Throws std::system_error and
    /// leaves the old content then.
    void commit(const std::string& content);

  private:
    void write(const std::string& content) const;
    void syncFolder() const;

    const std::string path;
    const std::string folder;
    std::string temporary;  // empty once it is in place
    int descriptor = -1;
};

}  // namespace tarn::utils
