#include "platform/os/FileInPlace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

namespace {

void checkInPlace(bool good, const std::string& what) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

class OpenFile {
  public:
    explicit OpenFile(const std::string& path)
        : path(path),
          file(checkedDescriptor(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC),
                                 path.c_str())) {}

    std::string read() const {
        struct stat facts {};
        checkInPlace(::fstat(file.get(), &facts) == 0, path);
        std::string content(static_cast<std::size_t>(facts.st_size), '\0');
        const ssize_t count = ::pread(file.get(), content.data(), content.size(), 0);
        checkInPlace(count >= 0, path);
        content.resize(static_cast<std::size_t>(count));
        return content;
    }

    /// A file system that cannot do that says so when it is written.
    void reserve(std::size_t size) const {
        const bool isFull =
            size > 0 &&
            ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) != 0 &&
            (errno == ENOSPC || errno == EDQUOT);
        checkInPlace(!isFull, path);
    }

    void write(const std::string& content) const {
        writeFromBeginning(file.get(), content, path);
        checkInPlace(::ftruncate(file.get(), static_cast<off_t>(content.size())) == 0 &&
                         ::fsync(file.get()) == 0,
                     path);
    }

  private:
    const std::string& path;
    const FileDescriptor file;
};

void putBack(const OpenFile& file, const std::string& content) {
    try {
        file.write(content);
    } catch (const std::system_error&) {
        // the first failure is the one to tell of
    }
}

}  // namespace

void writeFromBeginning(int descriptor, const std::string& content, const std::string& name) {
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = ::pwrite(descriptor, content.data() + written,
                                       content.size() - written, static_cast<off_t>(written));
        checkInPlace(count >= 0 || errno == EINTR, name);
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

bool canBeWrittenInPlace(const std::string& path) {
    struct stat facts {};
    return ::lstat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) &&
           ::access(path.c_str(), W_OK) == 0;
}

void writeInPlace(const std::string& path, const std::string& content) {
    const OpenFile file(path);
    const auto before = file.read();
    file.reserve(content.size());
    try {
        file.write(content);
    } catch (const std::system_error&) {
        putBack(file, before);
        throw;
    }
}

}  // namespace tarn::os
