#include "platform/os/FileReplacement.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/os/FileInPlace.h"

namespace tarn::os {

namespace {

void check(bool good, const std::string& what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

std::string folderOf(const std::string& path) {
    const auto parent = std::filesystem::path(path).parent_path();
    return parent.empty() ? "." : parent.string();
}

}  // namespace

FileReplacement::FileReplacement(std::string name, Options given)
    : path(std::move(name)),
      options(std::move(given)),
      folder(folderOf(path)),
      draft(options.draft) {
    if (draft.empty()) {
        makeTemporary();
    } else {
        openDraft();
    }
}

// What lies there and is no file is removed: the next one finds the way free.
void FileReplacement::openDraft() {
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC;
    file = FileDescriptor(::open(draft.c_str(), flags, options.mode));
    if (!file.isOpen()) {
        const int failure = errno;
        ::unlink(draft.c_str());
        throw std::system_error(failure, std::generic_category(), draft);
    }
}

// Without one the file itself must do.
void FileReplacement::makeTemporary() {
    draft = folder + "/.tarn-XXXXXX";
    file = FileDescriptor(::mkostemp(draft.data(), O_CLOEXEC));
    const bool isForbidden = errno == EROFS || errno == EACCES || errno == EPERM;
    if (!file.isOpen() && isForbidden && canBeWrittenInPlace(path)) {
        draft.clear();
        return;
    }
    check(file.isOpen(), draft);
}

FileReplacement::~FileReplacement() {
    if (!draft.empty()) {
        ::unlink(draft.c_str());
    }
}

void FileReplacement::commit(const std::string& content) {
    if (draft.empty()) {
        return writeInPlace(path, content);
    }
    writeDraft(content);
    if (options.rename(draft.c_str(), path.c_str()) == 0) {
        return finish();
    }
    const bool isMountPoint = errno == EBUSY || errno == EXDEV;
    check(isMountPoint && options.draft.empty(), path);
    writeInPlace(path, content);
}

// Some file systems cannot tell whether something is there in the same step.
bool FileReplacement::commitUnlessThere(const std::string& content) {
    writeDraft(content);
    if (::renameat2(AT_FDCWD, draft.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno == EEXIST) {
            return false;
        }
        check(errno == EINVAL && options.rename(draft.c_str(), path.c_str()) == 0, path);
    }
    finish();
    return true;
}

void FileReplacement::writeDraft(const std::string& content) const {
    writeFromBeginning(file.get(), content, draft);
    check(::fchmod(file.get(), options.mode) == 0 && ::fsync(file.get()) == 0, draft);
}

int FileReplacement::renameFile(const char* from, const char* to) {
    return ::rename(from, to);
}

// In place: its name is to be on the disk as well.
void FileReplacement::finish() {
    draft.clear();
    syncFolder(folder);
}

void syncFolder(const std::string& folder) {
    const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    check(opened.isOpen() && ::fsync(opened.get()) == 0, folder);
}

}  // namespace tarn::os
