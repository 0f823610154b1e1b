#include "peers/ingest_service/channel/SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>

#include "platform/utils/Log.h"
#include "platform/utils/Printable.h"

namespace tarn::peers::ingest_service {

namespace {

namespace fs = std::filesystem;

constexpr auto folder = "/dev/shm";
constexpr auto family = "shmpipe.";

bool isOfMediaLibrary(const std::string& name) {
    return name.starts_with(family) && name.find('/') == std::string::npos;
}

}  // namespace

std::vector<std::string> ownSharedMemory() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code closedMeanwhile;
        const auto target = fs::read_symlink(entry.path(), closedMeanwhile);
        if (target.parent_path() == folder && isOfMediaLibrary(target.filename().string())) {
            names.push_back(target.filename().string());
        }
    }
    return names;
}

std::vector<std::string> sharedMemoryOf(pid_t process) {
    std::array<char, 40> beginning{};
    std::snprintf(beginning.data(), beginning.size(), "%s%5d.", family, process);
    std::vector<std::string> names;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(folder, none)) {
        if (entry.path().filename().string().starts_with(beginning.data())) {
            names.push_back(entry.path().filename().string());
        }
    }
    return names;
}

void removeSharedMemory(const std::string& name) {
    struct stat file {};
    const auto path = std::string(folder) + "/" + name;
    if (!isOfMediaLibrary(name) || ::lstat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode) ||
        file.st_uid != ::geteuid()) {
        return;
    }
    if (::shm_unlink(("/" + name).c_str()) == 0) {
        utils::logInfo("Removed the shared memory " + utils::quotedText(name) +
                       " that a dead process left");
    }
}

}  // namespace tarn::peers::ingest_service
