#include "platform/access/ListFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/os/TrustedFile.h"
#include "platform/utils/Log.h"

namespace tarn::access {

namespace {

constexpr std::size_t mostProblemLines = 10;

}  // namespace

// The watch comes before the first reading: what changes in between is noticed.
ListFile::ListFile(std::string path, std::string what)
    : path(std::move(path)), what(std::move(what)) {
    try {
        changes.emplace(this->path);
    } catch (const std::system_error& failure) {
        utils::logWarning(this->what + " > changes of " + this->path +
                          " are looked for once a second: " + failure.what());
    }
}

std::optional<ListFile::State> ListFile::stateNow() const {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return std::nullopt;
    }
    return State{info.st_dev,  info.st_ino,         info.st_size,
                 info.st_mode, info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
}

std::optional<std::string> ListFile::read() {
    reading = Reading::Owed;
    readState = stateNow();
    std::optional<std::string> text;
    try {
        text = os::readOurs(path, largestListFile);
        if (!text) {
            text = unread(errno);
        }
    } catch (const std::exception& refused) {  // it is too large, or somebody else's
        utils::logError(what + " > " + path + " lets nobody in: " + refused.what());
        text = "";
    }
    reading = text ? Reading::Done : Reading::Owed;
    return text;
}

std::optional<std::string> ListFile::unread(int error) const {
    const bool isOurLack = error == EMFILE || error == ENFILE || error == ENOMEM;
    utils::logError(what + " > " + path +
                    (isOurLack ? " cannot be looked at now: " : " lets nobody in: ") +
                    std::generic_category().message(error));
    return isOurLack ? std::nullopt : std::optional<std::string>("");
}

// The state too, since a folder that was replaced tells of nothing any more.
bool ListFile::hasChanged() {
    const bool isTold = changes && changes->takeChange();
    return isTold || reading == Reading::Owed || stateNow() != readState;
}

void ListFile::logProblems(const std::vector<std::string>& problems) const {
    for (std::size_t i = 0; i < problems.size() && i < mostProblemLines; ++i) {
        utils::logWarning(what + " > " + path + " " + problems[i]);
    }
    if (problems.size() > mostProblemLines) {
        utils::logWarning(what + " > " + path + ": and " +
                          std::to_string(problems.size() - mostProblemLines) + " lines more");
    }
}

}  // namespace tarn::access
