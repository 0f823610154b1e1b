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

constexpr mode_t readableByAll = 0644;

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

FileReplacement::FileReplacement(std::string file, Rename rename)
    : path(std::move(file)), rename(std::move(rename)), folder(folderOf(path)) {
    makeTemporary();
}

// Without one the file itself must do.
void FileReplacement::makeTemporary() {
    temporary = folder + "/.tarn-XXXXXX";
    descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor >= 0) {
        return;
    }
    const int failure = errno;
    if ((failure == EROFS || failure == EACCES || failure == EPERM) && canBeWrittenInPlace(path)) {
        temporary.clear();
        return;
    }
    errno = failure;
    check(false, temporary);
}

FileReplacement::~FileReplacement() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    if (!temporary.empty()) {
        ::unlink(temporary.c_str());
    }
}

void FileReplacement::commit(const std::string& content) {
    if (temporary.empty()) {
        return writeInPlace(path, content);
    }
    writeFromBeginning(descriptor, content, temporary);
    check(::fchmod(descriptor, readableByAll) == 0 && ::fsync(descriptor) == 0, temporary);
    if (rename(temporary.c_str(), path.c_str()) == 0) {
        temporary.clear();
        return syncFolder();
    }
    const bool isMountPoint = errno == EBUSY || errno == EXDEV;
    check(isMountPoint, path);
    writeInPlace(path, content);
}

int FileReplacement::renameFile(const char* from, const char* to) {
    return ::rename(from, to);
}

void FileReplacement::syncFolder() const {
    const int opened = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = opened >= 0 && ::fsync(opened) == 0;
    const int error = errno;
    if (opened >= 0) {
        ::close(opened);
    }
    errno = error;
    check(synced, folder);
}

}  // namespace tarn::os
