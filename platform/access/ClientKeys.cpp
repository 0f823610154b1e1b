#include "platform/access/ClientKeys.h"

#include <utility>

namespace tarn::access {

namespace {

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

utils::Synchronised<std::shared_ptr<const ClientKeys>>& inUse() {
    static auto& keys = *new utils::Synchronised<std::shared_ptr<const ClientKeys>>;
    return keys;
}

}  // namespace

ClientKeys::ClientKeys(std::string path, std::string own)
    : file(std::move(path), "Client keys"), ownKey(std::move(own)) {
    *levels.lock() = read().value_or(Levels());
}

// Nothing where that says nothing about the file.
std::optional<ClientKeys::Levels> ClientKeys::read() {
    const auto text = file.read();
    if (!text) {
        return std::nullopt;
    }
    const auto list = parseClientKeys(*text);
    file.logProblems(list.problems);
    Levels found;
    for (const auto& entry : list.keys) {
        found[entry.key] = entry.level;
    }
    return found;
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

bool ClientKeys::refresh() {
    if (!file.hasChanged()) {
        return false;
    }
    auto fresh = read();
    if (!fresh) {
        return false;
    }
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
