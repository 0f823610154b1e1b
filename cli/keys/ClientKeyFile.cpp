#include "cli/keys/ClientKeyFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "cli/CommandError.h"
#include "platform/access/ClientKeys.h"
#include "platform/os/Deadline.h"
#include "platform/os/FileDescriptor.h"
#include "platform/os/FileReplacement.h"
#include "platform/os/SmallFile.h"

namespace tarn::cli {

namespace {

constexpr std::chrono::seconds patience{2};
constexpr std::chrono::milliseconds betweenTries{20};
constexpr mode_t modeOfNew = 0644;

CommandError failure(const std::string& path, const std::string& reason) {
    return {ExitStatus::Failed, path + ": " + reason};
}

// A file of its own, which only who may change the keys can open.
os::FileDescriptor lockFor(const std::string& path) {
    const auto lockPath = path + ".lock";
    os::FileDescriptor lock(
        ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock.isOpen()) {
        throw failure(lockPath, std::generic_category().message(errno));
    }
    const os::Deadline deadline(patience);
    while (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if (deadline.hasPassed()) {
            throw failure(path, "somebody else is changing it");
        }
        std::this_thread::sleep_for(betweenTries);
    }
    return lock;
}

mode_t modeOf(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : modeOfNew;
}

}  // namespace

std::string readClientKeyFile(const std::string& path) {
    try {
        const auto content = os::readWhole(path, access::largestListFile);
        if (content) {
            return *content;
        }
    } catch (const std::length_error& tooLarge) {
        throw failure(path, tooLarge.what());
    }
    if (errno == ENOENT) {
        return {};
    }
    throw failure(path, std::generic_category().message(errno));
}

void changeClientKeyFile(const std::string& path,
                         const std::function<std::string(const std::string&)>& change) {
    const auto lock = lockFor(path);
    try {
        const auto changed = change(readClientKeyFile(path));
        os::FileReplacement(path, {.mode = modeOf(path)}).commit(changed);
    } catch (const std::invalid_argument& complaint) {
        throw failure(path, complaint.what());
    } catch (const std::system_error& reason) {
        throw failure(path, reason.what());
    }
}

}  // namespace tarn::cli
