#include "peers/job_runtime/PersistentFile.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "peers/pipeline_channel/FileDescriptor.h"

namespace tarn::peers {

namespace {

namespace fs = std::filesystem;

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
    const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    check(descriptor.isOpen() && ::fsync(descriptor.get()) == 0, folder.string());
}

// Removes the file at the end unless it was renamed.
class TemporaryFile {
  public:
    explicit TemporaryFile(const fs::path& folder)
        : name((folder / ".tarn-job-XXXXXX").string()),
          descriptor(::mkostemp(name.data(), O_CLOEXEC)) {
        check(descriptor.isOpen(), name);
    }
    ~TemporaryFile() {
        if (!renamed) {
            ::unlink(name.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void write(const std::string& content) const {
        writeAll(descriptor.get(), content, name);
        check(::fsync(descriptor.get()) == 0, name);
    }
    void rename(const std::string& path) {
        check(::rename(name.c_str(), path.c_str()) == 0, path);
        renamed = true;
    }

  private:
    std::string name;
    const FileDescriptor descriptor;
    bool renamed = false;
};

}  // namespace

PersistentFile::PersistentFile(std::string file) : path(std::move(file)) {
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
    const auto folder = fs::path(path).parent_path();
    TemporaryFile temporary(folder);
    temporary.write(content);
    temporary.rename(path);
    syncFolder(folder);
}

void PersistentFile::remove() const {
    check(::unlink(path.c_str()) == 0 || errno == ENOENT, path);
    syncFolder(fs::path(path).parent_path());
}

}  // namespace tarn::peers
