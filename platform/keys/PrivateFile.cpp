#include "platform/keys/PrivateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/os/FileDescriptor.h"
#include "platform/os/FileReplacement.h"
#include "platform/os/TrustedListener.h"

namespace tarn::keys {

namespace {

// A long key and its certificate with all that somebody may have put around them.
constexpr std::size_t largestFile = 64U << 10U;

KeyFileError problem(const std::string& path, const std::string& reason) {
    return KeyFileError(path + ": " + reason);
}

std::string reasonOf(int error) {
    return std::generic_category().message(error);
}

// Of the file that is open: nobody can put another one in its place meanwhile.
void checkIsPrivate(int file, const std::string& path, std::string_view alsoTrusted) {
    struct stat info {};
    if (::fstat(file, &info) != 0 || !S_ISREG(info.st_mode)) {
        throw problem(path, "it is no file");
    }
    if (!os::isTrustedListener(info.st_uid, alsoTrusted)) {
        throw problem(path, "it belongs to user " + std::to_string(info.st_uid) +
                                ": only root and who runs this may have written it");
    }
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        throw problem(path, "others than its owner may read or write it: \"chmod 600\" it");
    }
}

}  // namespace

// Not for the writer of a pipe either.
std::string readPrivateFile(const std::string& path, std::string_view alsoTrusted) {
    const os::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) {
        throw problem(path, reasonOf(errno));
    }
    checkIsPrivate(file.get(), path, alsoTrusted);
    std::string content(largestFile, '\0');
    const auto count = ::read(file.get(), content.data(), content.size());
    if (count < 0) {
        throw problem(path, reasonOf(errno));
    }
    if (static_cast<std::size_t>(count) == content.size()) {
        throw problem(path, "it is too large to be a key");
    }
    content.resize(static_cast<std::size_t>(count));
    return content;
}

void writePrivateFile(const std::string& path, const std::string& content) {
    constexpr auto isThere = "it is there already, and a key that is lost cannot be made again";
    if (::access(path.c_str(), F_OK) == 0) {
        throw problem(path, isThere);
    }
    try {
        // No draft of a known name: somebody else could have made it before.
        os::FileReplacement file(path, {.mode = 0600});
        if (!file.commitUnlessThere(content)) {
            throw problem(path, isThere);
        }
    } catch (const std::system_error& failure) {
        throw problem(path, failure.what());
    }
}

}  // namespace tarn::keys
