#include "peers/job_runtime/launcher/JobLog.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "peers/job_runtime/launcher/RotatingFileSink.h"
#include "peers/job_runtime/persistence/SafeFileName.h"
#include "platform/os/ClosedFile.h"
#include "platform/os/TrustedFile.h"

namespace tarn::peers {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t maxLogBytes = std::size_t{1} << 20;

std::string environment(const char* name) {
    const char* const value = ::getenv(name);
    return value != nullptr ? value : "";
}

bool isOwnFolder(const fs::path& folder) {
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid();
}

bool isOurs(const fs::path& folder) {
    try {
        os::checkIsOurs(folder.string());
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

// Anybody could have made the folders first, to lead the log elsewhere; under /tmp anybody can.
bool isTrusted(const fs::path& folder) {
    const bool shared = folder.string().starts_with("/tmp/");
    const auto isGood = shared ? isOwnFolder : isOurs;
    return isGood(folder.parent_path()) && isGood(folder);
}

std::shared_ptr<utils::LogSink> openIn(const fs::path& folder, const std::string& file) {
    if (!os::makeClosedFolders(folder.string()) || !isTrusted(folder)) {
        return nullptr;
    }
    os::closeToOthers(folder.string(), os::closedFolder);
    os::closeToOthers((folder / (file + ".1")).string(), os::closedFile);
    try {
        return std::make_shared<RotatingFileSink>((folder / file).string(), maxLogBytes);
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

}  // namespace

std::vector<std::string> jobLogFolders() {
    std::vector<std::string> folders = {"/var/log/halden-tarn/jobs"};
    const std::string state = environment("XDG_STATE_HOME");
    const std::string home = environment("HOME");
    if (!state.empty()) {
        folders.push_back(state + "/halden-tarn/jobs");
    } else if (!home.empty()) {
        folders.push_back(home + "/.local/state/halden-tarn/jobs");
    }
    folders.push_back("/tmp/halden-tarn-" + std::to_string(::geteuid()) + "/jobs");
    return folders;
}

std::string openJobLog(const std::vector<std::string>& folders, const std::string& label) {
    const std::string file = safeFileName(label) + ".log";
    for (const auto& folder : folders) {
        if (auto sink = openIn(folder, file)) {
            utils::setLogSink(std::move(sink));
            return folder + "/" + file;
        }
    }
    utils::setLogSink(nullptr);
    return {};
}

}  // namespace tarn::peers
