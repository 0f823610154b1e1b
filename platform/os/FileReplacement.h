#pragma once

#include <functional>
#include <string>

namespace tarn::os {

/// A file's new content, which takes the place of the old one as a whole: after a crash at any
/// moment the file holds the old content or the new one. One thread.
///
/// A file that is a mount point of its own, such as one that a container is given, cannot be
/// replaced, and where its folder cannot be written there is nothing to replace it with. It is
/// written in place then: its space is reserved first, and what it held is put back when writing
/// fails. Only a crash in the middle of the write can leave a part of both.
class FileReplacement {
  public:
    /// As the C library's rename.
    using Rename = std::function<int(const char* from, const char* to)>;

    /// Makes a temporary file beside `path`, readable by everybody. Throws std::system_error.
    explicit FileReplacement(std::string path, Rename rename = renameFile);
    ~FileReplacement();  ///< without commit everything is as before
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Writes the content to the disk and puts it in place, once. Throws std::system_error and
    /// leaves the old content then.
    void commit(const std::string& content);

  private:
    static int renameFile(const char* from, const char* to);

    void makeTemporary();
    void syncFolder() const;

    const std::string path;
    const Rename rename;
    const std::string folder;
    std::string temporary;  // empty when there is none
    int descriptor = -1;
};

}  // namespace tarn::os
