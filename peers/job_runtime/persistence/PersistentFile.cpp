#include "peers/job_runtime/persistence/PersistentFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/os/FileDescriptor.h"
#include "platform/os/FileReplacement.h"

namespace tarn::peers {

namespace {

namespace fs = std::filesystem;

constexpr off_t largestFile = 64 << 20;

void check(bool good, const std::string& what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

// Where a file is written before it takes its place. The service reads every file of the folder
// itself but nothing below it: what a crash leaves here starts no job, not even a job that has
// ended for good since.
fs::path incomplete(const fs::path& file, const std::string& name) {
    return file.parent_path() / ".incomplete" / (name.empty() ? file.filename() : fs::path(name));
}

void makeFolder(const fs::path& folder) {
    check(::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST, folder.string());
}

void removeIfThere(const fs::path& file) {
    const bool isGone = ::unlink(file.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
    check(isGone, file.string());
}

}  // namespace

PersistentFile::PersistentFile(std::string file, const std::string& draftName)
    : path(std::move(file)), draft(incomplete(path, draftName)) {
    const fs::path parts(path);
    std::error_code unreadable;
    if (path.find('\0') != std::string::npos || !parts.is_absolute() || !parts.has_filename()) {
        throw std::invalid_argument("the path of the persistent file is not absolute");
    }
    if (!fs::is_directory(parts.parent_path(), unreadable)) {
        throw std::invalid_argument("the folder of the persistent file does not exist");
    }
}

void PersistentFile::write(const std::string& content) const {
    replacement().commit(content);
}

bool PersistentFile::create(const std::string& content) const {
    return replacement().commitUnlessThere(content);
}

os::FileReplacement PersistentFile::replacement() const {
    makeFolder(draft.parent_path());
    return os::FileReplacement(path, {.draft = draft.string(), .mode = 0600});
}

std::string PersistentFile::read() const {
    const os::FileDescriptor descriptor(
        ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!descriptor.isOpen() || ::fstat(descriptor.get(), &status) != 0 ||
        !S_ISREG(status.st_mode) || status.st_size > largestFile) {
        return {};
    }
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t count = ::read(descriptor.get(), content.data(), content.size());
    content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return content;
}

void PersistentFile::remove() const {
    removeIfThere(path);
    removeIfThere(draft);
    os::syncFolder(fs::path(path).parent_path().string());
}

}  // namespace tarn::peers
