#include "platform/utils/FileReplacement.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tarn::utils {

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

FileReplacement::FileReplacement(std::string file)
    : path(std::move(file)),
      folder(folderOf(path)),
      temporary(folder + "/.tarn-XXXXXX"),
      descriptor(::mkostemp(temporary.data(), O_CLOEXEC)) {
    check(descriptor >= 0, temporary);
}

FileReplacement::~FileReplacement() {
    ::close(descriptor);
    if (!temporary.empty()) {
        ::unlink(temporary.c_str());
    }
}

void FileReplacement::commit(const std::string& content) {
    write(content);
    check(::fchmod(descriptor, readableByAll) == 0 && ::fsync(descriptor) == 0, temporary);
    check(::rename(temporary.c_str(), path.c_str()) == 0, path);
    temporary.clear();
    syncFolder();
}

void FileReplacement::write(const std::string& content) const {
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count =
            ::write(descriptor, content.data() + written, content.size() - written);
        check(count >= 0 || errno == EINTR, temporary);
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
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

}  // namespace tarn::utils
