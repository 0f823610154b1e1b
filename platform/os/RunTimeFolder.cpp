#include "platform/os/RunTimeFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "platform/os/ClosedFile.h"
#include "platform/os/FileDescriptor.h"
#include "platform/os/TrustedFile.h"
#include "platform/os/TrustedListener.h"
#include "platform/os/UserName.h"

namespace tarn::os {

namespace fs = std::filesystem;

namespace {

constexpr auto systemFolder = "/run/halden-tarn";

std::optional<std::string> reasonAgainst(const std::string& folder) {
    try {
        checkIsOurs(folder);
        return std::nullopt;
    } catch (const std::runtime_error& reason) {
        return reason.what();
    }
}

// Where root may write, anybody may have been first.
bool canBeUsed(const std::string& folder) {
    makeClosedFolders(folder);
    return !reasonAgainst(folder) && ::access(folder.c_str(), W_OK | X_OK) == 0;
}

std::string userRuntimeFolder() {
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    return folder != nullptr && *folder == '/' ? folder : "/run/user/" + std::to_string(::getuid());
}

// What the system's service manager has made for the unit that this process is of; the first, where
// there are several. Empty where there is none.
std::string folderOfUnit() {
    const char* const folders = std::getenv("RUNTIME_DIRECTORY");
    const std::string all = folders != nullptr && *folders == '/' ? folders : "";
    return all.substr(0, all.find(':'));
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

void makePrivate(const std::string& path) {
    const FileDescriptor folder(
        ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.isOpen() || ::fchmod(folder.get(), S_IRWXU) != 0) {
        fail(path, std::generic_category().message(errno));
    }
}

}  // namespace

std::string runTimeFolder() {
    return canBeUsed(systemFolder) ? systemFolder : userRuntimeFolder() + "/halden-tarn";
}

std::optional<std::string> whoTookRunTimeFolder() {
    const auto reason = reasonAgainst(systemFolder);
    return reason ? std::optional(systemFolder + (" is not used: " + *reason)) : std::nullopt;
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
        makePrivate(path);
    }
}

std::string claimFolder() {
    std::vector<std::string> candidates{runTimeFolder() + "/claims"};
    if (const auto folder = folderOfUnit(); !folder.empty()) {
        candidates.push_back(folder + "/claims");
    }
    for (const auto& folder : candidates) {
        try {
            makePrivateFolder(folder);
            return folder;
        } catch (const std::runtime_error&) {
            // The last one says why there is none.
        }
    }
    auto last = "/tmp/halden-tarn-claims-" + std::to_string(::geteuid());
    makePrivateFolder(last);
    return last;
}

}  // namespace tarn::os
