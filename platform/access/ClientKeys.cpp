#include "platform/access/ClientKeys.h"

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

Level neededFor(socket::Entrance entrance) {
    switch (entrance) {
        case socket::Entrance::Clients:
            return Level::Read;
        case socket::Entrance::Devices:
            return Level::Operate;
        case socket::Entrance::OwnPrograms:
            break;
    }
    return Level::Admin;
}

void logProblems(const std::string& file, const std::vector<std::string>& problems) {
    for (std::size_t i = 0; i < problems.size() && i < mostProblemLines; ++i) {
        utils::logWarning("Client keys > " + file + " " + problems[i]);
    }
    if (problems.size() > mostProblemLines) {
        utils::logWarning("Client keys > " + file + ": and " +
                          std::to_string(problems.size() - mostProblemLines) + " lines more");
    }
}

utils::Synchronised<std::shared_ptr<const ClientKeys>>& inUse() {
    static auto& keys = *new utils::Synchronised<std::shared_ptr<const ClientKeys>>;
    return keys;
}

}  // namespace

ClientKeys::ClientKeys(std::string path, std::string own)
    : file(std::move(path)), ownKey(std::move(own)) {
    watch();
    *levels.lock() = read().value_or(Levels());
}

// Before the file is read: what changes in between is noticed.
void ClientKeys::watch() {
    try {
        changes.emplace(file);
    } catch (const std::system_error& failure) {
        utils::logWarning("Client keys > changes of " + file +
                          " are looked for once a second: " + failure.what());
    }
    readState = stateNow();
}

std::optional<ClientKeys::State> ClientKeys::stateNow() const {
    struct stat info {};
    if (::stat(file.c_str(), &info) != 0) {
        return std::nullopt;
    }
    return State{info.st_dev,  info.st_ino,         info.st_size,
                 info.st_mode, info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
}

// Nothing where that says nothing about the file.
std::optional<ClientKeys::Levels> ClientKeys::read() const {
    Levels found;
    try {
        const auto content = os::readOurs(file, largestClientKeyFile);
        if (!content) {
            return unread(errno);
        }
        const auto list = parseClientKeys(*content);
        logProblems(file, list.problems);
        for (const auto& entry : list.keys) {
            found[entry.key] = entry.level;
        }
    } catch (const std::exception& refused) {  // it is too large, or somebody else's
        utils::logError("Client keys > " + file + " lets nobody in: " + refused.what());
    }
    return found;
}

std::optional<ClientKeys::Levels> ClientKeys::unread(int error) const {
    const bool isOurLack = error == EMFILE || error == ENFILE || error == ENOMEM;
    utils::logError("Client keys > " + file +
                    (isOurLack ? " cannot be looked at now: " : " lets nobody in: ") +
                    std::generic_category().message(error));
    return isOurLack ? std::nullopt : std::optional(Levels());
}

Level ClientKeys::levelOf(const std::string& key) const {
    if (!ownKey.empty() && key == ownKey) {
        return Level::Admin;
    }
    auto locked = levels.lock();
    const auto known = locked->find(key);
    return known == locked->end() ? Level::None : known->second;
}

bool ClientKeys::admits(const std::string& key, socket::Entrance entrance) const {
    return levelOf(key) >= neededFor(entrance);
}

int ClientKeys::descriptor() const {
    return changes ? changes->descriptor() : -1;
}

// The state too, since a folder that was replaced tells of nothing any more.
bool ClientKeys::refresh() {
    const bool isTold = changes && changes->takeChange();
    auto now = stateNow();
    if (!isTold && now == readState) {
        return false;
    }
    auto fresh = read();
    if (!fresh) {
        readState.reset();  // the next look finds a change
        return false;
    }
    readState = now;
    auto locked = levels.lock();
    const bool differs = *locked != *fresh;
    *locked = std::move(*fresh);
    return differs;
}

Level levelOfKey(const std::string& key) {
    const auto keys = *inUse().lock();
    return keys ? keys->levelOf(key) : Level::None;
}

void useClientKeys(std::shared_ptr<const ClientKeys> keys) {
    *inUse().lock() = std::move(keys);
}

}  // namespace tarn::access
