#include "peers/job_runtime/persistence/PersistentFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/os/FileDescriptor.h"

namespace tarn::peers {

namespace {

namespace fs = std::filesystem;

constexpr off_t largestFile = 64 << 20;

void check(bool good, const std::string& what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void writeAll(int descriptor, const std::string& content, const std::string& path) {
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count =
            ::write(descriptor, content.data() + written, content.size() - written);
        check(count >= 0 || errno == EINTR, path);
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

void syncFolder(const fs::path& folder) {
    const os::FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    check(descriptor.isOpen() && ::fsync(descriptor.get()) == 0, folder.string());
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

void writeSynced(const fs::path& file, const std::string& content) {
    const os::FileDescriptor descriptor(
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    check(descriptor.isOpen(), file.string());
    writeAll(descriptor.get(), content, file.string());
    check(::fsync(descriptor.get()) == 0, file.string());
}

// Some file systems cannot tell whether something is there in the same step.
bool renamed(const fs::path& from, const fs::path& to, unsigned flags) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) == 0) {
        return true;
    }
    if (flags != 0 && errno == EEXIST) {
        return false;
    }
    check(flags != 0 && errno == EINVAL && ::rename(from.c_str(), to.c_str()) == 0, to.string());
    return true;
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
    put(content, 0);
}

bool PersistentFile::create(const std::string& content) const {
    return put(content, RENAME_NOREPLACE);
}

bool PersistentFile::put(const std::string& content, unsigned renameFlags) const {
    makeFolder(draft.parent_path());
    try {
        writeSynced(draft, content);
        if (!renamed(draft, path, renameFlags)) {
            ::unlink(draft.c_str());
            return false;
        }
    } catch (...) {
        ::unlink(draft.c_str());
        throw;
    }
    syncFolder(fs::path(path).parent_path());
    return true;
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
    syncFolder(fs::path(path).parent_path());
}

}  // namespace tarn::peers
