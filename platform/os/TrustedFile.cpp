#include "platform/os/TrustedFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <stdexcept>

#include "platform/os/FileDescriptor.h"
#include "platform/os/SmallFile.h"
#include "platform/os/TrustedListener.h"
#include "platform/os/UserName.h"

namespace tarn::os {

namespace {

void check(const struct stat& facts) {
    if (const auto reason = whyNotOurs(facts.st_uid)) {
        throw std::runtime_error(*reason);
    }
}

// The file that is open, and the link that led to it.
void checkOpened(const FileDescriptor& file, const std::string& path) {
    struct stat facts {};
    if (::fstat(file.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
        throw std::runtime_error("it is no file");
    }
    check(facts);
    checkIsOurs(path);
}

}  // namespace

std::optional<std::string> whyNotOurs(uid_t owner) {
    if (isTrustedListener(owner)) {
        return std::nullopt;
    }
    return "it belongs to " + describeUser(owner) +
           ", and only root, this process's own user and " + std::string(serviceUser) +
           " may have made it";
}

void checkIsOurs(const std::string& path) {
    struct stat facts {};
    if (::lstat(path.c_str(), &facts) == 0) {
        check(facts);
    }
    if (S_ISLNK(facts.st_mode) && ::stat(path.c_str(), &facts) == 0) {
        check(facts);
    }
}

std::optional<std::string> readOurs(const std::string& path, std::size_t most) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen()) {
        return std::nullopt;
    }
    checkOpened(file, path);
    return readWhole(file, most);
}

}  // namespace tarn::os
