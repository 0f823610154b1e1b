#include "platform/os/ClosedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace tarn::os {

namespace {

/// Of what the descriptor has open, also with O_PATH alone.
void takeAway(int descriptor, mode_t mode) {
    struct stat facts {};
    const bool isOurs = ::fstat(descriptor, &facts) == 0 && facts.st_uid == ::geteuid() &&
                        (S_ISREG(facts.st_mode) || S_ISDIR(facts.st_mode));
    const mode_t given = facts.st_mode & 07777U;
    if (isOurs && (given & ~mode & 0777U) != 0) {
        const auto itself = "/proc/self/fd/" + std::to_string(descriptor);
        ::chmod(itself.c_str(), given & (mode | ~mode_t{0777}));
    }
}

}  // namespace

FileDescriptor openClosed(const std::string& path, int flags, mode_t mode) {
    FileDescriptor file(
        ::open(path.c_str(), flags | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY, mode));
    if (file.isOpen()) {
        takeAway(file.get(), mode);
    }
    return file;
}

// The file itself is not opened: closing it would let go of every lock that this process holds on
// it.
void closeToOthers(const std::string& path, mode_t mode) {
    const FileDescriptor file(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (file.isOpen()) {
        takeAway(file.get(), mode);
    }
}

bool makeClosedFolders(const std::string& path) {
    if (::mkdir(path.c_str(), closedFolder) == 0) {
        return true;
    }
    const auto parent = std::filesystem::path(path).parent_path().string();
    if (errno == ENOENT && !parent.empty() && parent != path && makeClosedFolders(parent)) {
        return ::mkdir(path.c_str(), closedFolder) == 0 || errno == EEXIST;
    }
    return errno == EEXIST;
}

}  // namespace tarn::os
