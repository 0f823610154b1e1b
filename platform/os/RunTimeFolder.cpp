#include "platform/os/RunTimeFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "platform/os/FileDescriptor.h"
#include "platform/os/TrustedListener.h"
#include "platform/os/UserName.h"

namespace tarn::os {

namespace fs = std::filesystem;

namespace {

constexpr auto systemFolder = "/run/halden-tarn";

bool canBeWritten(const std::string& folder) {
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    return ::access(folder.c_str(), W_OK | X_OK) == 0;
}

std::string userRuntimeFolder() {
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    return folder != nullptr && *folder == '/' ? folder : "/run/user/" + std::to_string(::getuid());
}

[[noreturn]] void fail(const std::string& folder, const std::string& reason) {
    throw std::runtime_error("the folder " + folder + " cannot be used: " + reason);
}

std::string whoCanRemove(uid_t owner) {
    return "it belongs to " + describeUser(owner) + "; remove it, as root or as that user";
}

bool isOurs(uid_t owner) {
    return owner == ::geteuid() || (::geteuid() == 0 && isTrustedListener(owner));
}

void closeToOthers(const std::string& path) {
    const FileDescriptor folder(
        ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.isOpen() || ::fchmod(folder.get(), S_IRWXU) != 0) {
        fail(path, std::generic_category().message(errno));
    }
}

}  // namespace

std::string runTimeFolder() {
    return canBeWritten(systemFolder) ? systemFolder : userRuntimeFolder() + "/halden-tarn";
}

void makePrivateFolder(const std::string& path) {
    std::error_code ignored;
    fs::create_directories(fs::path(path).parent_path(), ignored);
    const bool isNew = ::mkdir(path.c_str(), S_IRWXU) == 0;
    if (!isNew && errno != EEXIST) {
        fail(path, std::generic_category().message(errno));
    }
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) {
        fail(path, std::generic_category().message(errno));
    }
    if (!isOurs(found.st_uid)) {
        fail(path, whoCanRemove(found.st_uid));
    }
    if (!S_ISDIR(found.st_mode)) {
        fail(path, "it is no folder; remove it");
    }
    if ((found.st_mode & ALLPERMS) != S_IRWXU) {
        closeToOthers(path);
    }
}

std::string claimFolder() {
    try {
        auto folder = runTimeFolder() + "/claims";
        makePrivateFolder(folder);
        return folder;
    } catch (const std::runtime_error&) {
        auto folder = "/tmp/halden-tarn-claims-" + std::to_string(::geteuid());
        makePrivateFolder(folder);
        return folder;
    }
}

}  // namespace tarn::os
