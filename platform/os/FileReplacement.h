#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <utility>

#include "platform/os/ClosedFile.h"
#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// A file's new content, which takes the place of the old one as a whole: after a crash at any
/// moment the file holds the old content or the new one. One thread.
///
/// A file that is a mount point of its own, such as one that a container is given, cannot be
/// replaced, and where its folder cannot be written there is nothing to replace it with. It is
/// written in place then, unless a draft is named: its space is reserved first, and what it held is
/// put back when writing fails. Only a crash in the middle of the write can leave a part of both.
class FileReplacement {
  public:
    /// As the C library's rename.
    using Rename = std::function<int(const char* from, const char* to)>;

    struct Options {
        /// Where the content is written first, on the same file system; a temporary name beside the
        /// file unless given. What a crash has left there is written over.
        std::string draft = {};
        mode_t mode = closedFile;
        Rename rename = renameFile;
    };

    /// Makes the draft. Throws std::system_error.
    explicit FileReplacement(std::string path) : FileReplacement(std::move(path), Options{}) {}
    FileReplacement(std::string path, Options options);
    ~FileReplacement();  ///< without commit everything is as before
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Writes the content to the disk and puts it in place, once. Throws std::system_error and
    /// leaves the old content then.
    void commit(const std::string& content);

    /// The same where nothing is; false, and nothing is changed, where somebody was faster. With a
    /// named draft only.
    bool commitUnlessThere(const std::string& content);

  private:
    static int renameFile(const char* from, const char* to);

    void openDraft();
    void makeTemporary();
    void writeDraft(const std::string& content) const;
    void finish();

    const std::string path;
    const Options options;
    const std::string folder;
    std::string draft;  // empty when there is none
    FileDescriptor file;
};

/// What was made, renamed or removed in the folder is on the disk afterwards. Throws
/// std::system_error.
void syncFolder(const std::string& folder);

}  // namespace tarn::os
