#include "service/configuration/ConfigurationFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/os/FileDescriptor.h"
#include "service/configuration/ConfigurationError.h"

namespace tarn::service::configuration {

namespace {

std::string systemReason() {
    return std::generic_category().message(errno);
}

/// A regular file that is open for reading.
class OpenFile {
  public:
    OpenFile(const std::string& path, const utils::IMessageFormatter& reader)
        : path(path),
          reader(reader),
          // Without O_NONBLOCK, opening a named pipe waits for its writer.
          file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY)) {
        if (!file.isOpen()) {
            throw ConfigurationError(reader, "Failed opening " + path, systemReason());
        }
    }

    std::size_t size() const {
        struct stat info = {};
        if (::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
            throw ConfigurationError(reader, "Failed opening " + path, "not a regular file");
        }
        if (static_cast<std::size_t>(info.st_size) > largestConfigurationFile) {
            throw readFailure("file is larger than 16 MiB");
        }
        return static_cast<std::size_t>(info.st_size);
    }

    /// Shorter than `size` when the file has shrunk.
    std::string read(std::size_t size) const {
        std::string content(size, '\0');
        std::size_t done = 0;
        while (done < size) {
            const auto count = ::read(file.get(), content.data() + done, size - done);
            if (count < 0 && errno != EINTR) {
                throw readFailure(systemReason());
            }
            if (count == 0) {
                break;
            }
            done += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
        content.resize(done);
        return content;
    }

    ConfigurationError readFailure(const std::string& reason) const {
        return {reader, "Failed reading " + path + ": " + reason, ""};
    }

  private:
    const std::string& path;
    const utils::IMessageFormatter& reader;
    const os::FileDescriptor file;
};

}  // namespace

std::string readConfigurationBytes(const std::string& path,
                                   const utils::IMessageFormatter& reader) {
    const OpenFile file(path, reader);
    std::string content = file.read(file.size());
    if (content.empty()) {
        throw file.readFailure("file is empty");
    }
    return content;
}

}  // namespace tarn::service::configuration
