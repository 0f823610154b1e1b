#include "peers/loop_storage/operations/Catalogue.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "peers/loop_storage/StorageError.h"
#include "peers/loop_storage/disk/DiskFile.h"
#include "peers/loop_storage/ring/index/VersionedFile.h"
#include "platform/os/ClosedFile.h"
#include "platform/os/TrustedFile.h"
#include "platform/utils/Log.h"

namespace tarn::peers::loop_storage {

namespace {

constexpr auto trackKind = "track-";
constexpr auto makingKind = "making-";
constexpr auto removedKind = "removed-";
constexpr auto lastIdName = "last-id";
constexpr std::size_t longestIdFile = 64;

/// The id at the end of a folder's name; nothing for another name.
std::optional<std::int64_t> idOf(const std::string& name, std::string_view kind) {
    if (!name.starts_with(kind)) {
        return std::nullopt;
    }
    std::int64_t id = -1;
    const char* const end = name.data() + name.size();
    const auto result = std::from_chars(name.data() + kind.size(), end, id);
    const bool isId = result.ec == std::errc() && result.ptr == end && id >= 0 &&
                      name == std::string(kind) + std::to_string(id);
    return isId ? std::optional(id) : std::nullopt;
}

// Whose folder it is can put whatever he likes in the place of a track.
void checkIsOurs(const std::filesystem::path& directory) {
    try {
        os::checkIsOurs(directory.string());
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("Cannot use directory " + directory.string() + ": " +
                                 error.what());
    }
}

os::FileDescriptor lockDirectory(const std::filesystem::path& directory) {
    if (::mkdir(directory.c_str(), os::closedFolder) != 0 && errno != EEXIST) {
        throw std::system_error(errno, std::generic_category(),
                                "Cannot make directory " + directory.string());
    }
    checkIsOurs(directory);
    os::closeToOthers(directory.string(), os::closedFolder);
    const auto path = directory / "lock";
    auto file = os::openClosed(path.string(), O_RDWR, os::privateFile);
    if (!file.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "Cannot open " + path.string());
    }
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            throw std::runtime_error("Another server uses directory " + directory.string());
        }
        throw std::system_error(errno, std::generic_category(), "Cannot lock " + path.string());
    }
    return file;
}

// As far as it can be told.
std::uint64_t dataIn(const std::filesystem::path& folder) {
    std::uint64_t bytes = 0;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        const auto size = entry->file_size(ignored);
        const bool isData = entry->path().filename().string().starts_with("data.");
        bytes += isData && !ignored ? size : 0;
    }
    return bytes;
}

}  // namespace

Catalogue::Catalogue(std::filesystem::path directory, std::optional<std::uint64_t> capacity,
                     const BootId& boot, LookAtDisk lookAtDisk)
    : directory(std::move(directory)),
      capacity(capacity),
      boot(boot),
      lookAtDisk(std::move(lookAtDisk)),
      lock(lockDirectory(this->directory)) {
    readLastId();
    removeRemains();
    // A server that was killed may have renamed folders and not have brought that to the disk: what
    // was promised of such a track from now on would go with it when the machine stops.
    syncFolder(this->directory);
    openTracks();
}

std::filesystem::path Catalogue::folderOf(const char* kind, std::int64_t id) const {
    return directory / (kind + std::to_string(id));
}

void Catalogue::removeRemains() {
    std::map<std::int64_t, std::filesystem::path> unfinished;
    std::set<std::int64_t> gone;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const auto name = entry.path().filename().string();
        if (const auto removed = idOf(name, removedKind)) {
            gone.insert(*removed);
        } else if (const auto making = idOf(name, makingKind)) {
            unfinished.emplace(*making, entry.path());
        }
    }
    for (const auto& [id, folder] : unfinished) {
        removeUnfinished(folder, id);
    }
    for (const auto id : gone) {
        removeGone(id, id > lastId ? IdKept::ByFolderOnly : IdKept::Elsewhere);
        lastId = std::max(lastId, id);
        utils::logInfo("Removed what was left in " + folderOf(removedKind, id).string());
    }
}

// Where it stays, its id is not used: there would be no place for that track.
void Catalogue::removeUnfinished(const std::filesystem::path& folder, std::int64_t id) {
    try {
        std::filesystem::remove_all(folder);
        utils::logInfo("Removed what was left in " + folder.string());
    } catch (const std::exception& failure) {
        lastId = std::max(lastId, id);
        utils::logWarning("Cannot remove what was left in " + folder.string() + ": " +
                          failure.what());
    }
}

// What the folder holds goes first: on a full disk there is no room for the file otherwise. Should
// there be none all the same, the folder stays and tells the id at the next start.
void Catalogue::removeGone(std::int64_t id, IdKept kept) const {
    const auto folder = folderOf(removedKind, id);
    try {
        std::vector<std::filesystem::path> content;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            content.push_back(entry.path());
        }
        for (const auto& path : content) {
            std::filesystem::remove_all(path);
        }
        if (kept == IdKept::ByFolderOnly) {
            replaceFile(directory / lastIdName, withHead(lastIdName, std::to_string(id)));
        }
        std::filesystem::remove(folder);
    } catch (const std::exception& failure) {
        utils::logWarning("Track " + std::to_string(id) + " is gone, but not " + folder.string() +
                          ": " + failure.what());
    }
}

// Tracks are worth more than this number: they are served without it.
void Catalogue::readLastId() {
    const auto path = directory / lastIdName;
    if (!std::filesystem::exists(path)) {
        return;
    }
    std::string problem = "no number";
    try {
        const auto file = readSmallFile(path, longestIdFile);
        const auto text = withoutHead(lastIdName, file, path.string()).value_or(file);
        std::int64_t id = -1;
        if (std::from_chars(text.data(), text.data() + text.size(), id).ec == std::errc()) {
            lastId = std::max(lastId, id);
            return;
        }
    } catch (const UnknownVersion&) {
        throw;  // it would be written over
    } catch (const std::exception& failure) {
        problem = failure.what();
    }
    utils::logWarning(path.string() + " is damaged (" + problem +
                      "): ids of tracks that are gone may come again");
}

void Catalogue::openTracks() {
    std::map<std::int64_t, std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (const auto id = idOf(entry.path().filename().string(), trackKind)) {
            found.emplace(*id, entry.path());
        }
    }
    for (const auto& [id, folder] : found) {
        lastId = std::max(lastId, id);
        openTrack(folder, id);
    }
}

void Catalogue::openTrack(const std::filesystem::path& folder, std::int64_t id) {
    try {
        const auto track = std::make_shared<Track>(folder, id, boot);
        for (const auto& note : track->notes()) {
            utils::logWarning("Track " + std::to_string(id) + ": " + note);
        }
        tracks.emplace(id, track);
    } catch (const std::exception& failure) {
        unopened.emplace(id, Unopened{.reason = failure.what(), .size = dataIn(folder)});
        utils::logError("Track " + std::to_string(id) + " cannot be opened: " + failure.what());
    }
}

std::vector<std::int64_t> Catalogue::ids() const {
    const std::lock_guard guard(mutex);
    std::vector<std::int64_t> list;
    list.reserve(tracks.size() + unopened.size());
    for (const auto& [id, track] : tracks) {
        list.push_back(id);
    }
    for (const auto& [id, track] : unopened) {
        list.push_back(id);
    }
    std::sort(list.begin(), list.end());
    return list;
}

std::vector<std::shared_ptr<Track>> Catalogue::all() const {
    const std::lock_guard guard(mutex);
    std::vector<std::shared_ptr<Track>> list;
    list.reserve(tracks.size());
    for (const auto& [id, track] : tracks) {
        list.push_back(track);
    }
    return list;
}

std::shared_ptr<Track> Catalogue::find(std::int64_t id) const {
    const std::lock_guard guard(mutex);
    const auto found = tracks.find(id);
    return found == tracks.end() ? nullptr : found->second;
}

std::optional<Catalogue::Unopened> Catalogue::findUnopened(std::int64_t id) const {
    const std::lock_guard guard(mutex);
    const auto found = unopened.find(id);
    return found == unopened.end() ? std::nullopt : std::optional(found->second);
}

std::shared_ptr<Track> Catalogue::get(std::int64_t id) const {
    if (auto track = find(id)) {
        return track;
    }
    const auto number = std::to_string(id);
    if (const auto track = findUnopened(id)) {
        throw StorageError(TARN_STORAGE_ERROR_SERVER,
                           "Track " + number + " cannot be opened: " + track->reason);
    }
    throw StorageError(TARN_STORAGE_ERROR_NOT_FOUND, "There is no track " + number);
}

}  // namespace tarn::peers::loop_storage
