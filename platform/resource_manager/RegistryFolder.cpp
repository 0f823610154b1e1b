#include "platform/resource_manager/RegistryFolder.h"

#include <SQLiteCpp/Exception.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/os/ClosedFile.h"
#include "platform/os/RunTimeFolder.h"
#include "platform/os/TrustedFile.h"
#include "platform/resource_manager/registry/RegistryFile.h"
#include "platform/utils/Log.h"

namespace tarn::resource_manager {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t longestReadablePart = 100;
constexpr int mostDamagedFiles = 100;

// FNV-1a: the same in every build, since a new service must find the file of the one before.
std::uint64_t stableHash(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    return hash;
}

// For people: what of the text is safe in a file name.
std::string readablePart(const std::string& text) {
    std::string part = text.substr(0, longestReadablePart);
    std::replace_if(
        part.begin(), part.end(),
        [](unsigned char c) { return std::isalnum(c) == 0 && c != '-' && c != '.'; }, '_');
    return part;
}

// Takes the journal along, which would otherwise be played into the new file.
void renameWithJournal(const std::string& file, const std::string& target) {
    fs::rename(file, target);
    std::error_code thereIsNone;
    fs::rename(file + "-journal", target + "-journal", thereIsNone);
}

std::string nameForDamaged(const std::string& file) {
    for (int n = 1; n < mostDamagedFiles; ++n) {
        auto name = fmt::format("{}.damaged-{}", file, n);
        if (!fs::exists(fs::symlink_status(name))) {
            return name;
        }
    }
    return fmt::format("{}.damaged-{}", file, mostDamagedFiles);
}

bool isHeldBySomebody(const std::exception& error) {
    const auto* const database = dynamic_cast<const SQLite::Exception*>(&error);
    return database != nullptr &&
           (database->getErrorCode() == SQLITE_BUSY || database->getErrorCode() == SQLITE_LOCKED);
}

void makeFolder(const std::string& folder) {
    if (!os::makeClosedFolders(folder)) {
        throw std::system_error(errno, std::generic_category(), "cannot make folder " + folder);
    }
    os::checkIsOurs(folder);
    os::closeToOthers(folder, os::closedFolder);
}

// Whoever can open the file can hold it locked, and its journal has its mode. The database is made
// by an open of its own, which does not take a mode.
void makeClosed(const std::string& file) {
    os::openClosed(file, O_RDWR | O_EXCL, os::privateFile);
    os::closeToOthers(file, os::privateFile);
    os::closeToOthers(file + "-journal", os::privateFile);
}

RegistryFolder::Opened read(const std::string& file) {
    makeClosed(file);
    auto store = std::make_unique<RegistryFile>(file);
    auto contents = store->load();
    return {std::move(contents), std::move(store)};
}

}  // namespace

RegistryFolder::RegistryFolder(std::string path)
    : MessageFormatter("ResourceManager"),
      chosenPath(path.empty() ? os::runTimeFolder() : std::move(path)) {}

std::string RegistryFolder::pathFor(const std::string& endpointText) const {
    return fmt::format("{}/{}-{:016x}.registry", chosenPath, readablePart(endpointText),
                       stableHash(endpointText));
}

RegistryFolder::Opened RegistryFolder::open(const std::string& endpointText) const {
    if (const auto taken = os::whoTookRunTimeFolder()) {
        tarn::utils::logWarning(formatMessage(*taken));
    }
    const auto file = pathFor(endpointText);
    try {
        makeFolder(chosenPath);
        return openFile(file);
    } catch (const std::exception& e) {
        tarn::utils::logError(formatMessage("Cannot keep the registry in " + file + ": " +
                                            e.what() + "; it is lost when the service ends"));
        return {};
    }
}

RegistryFolder::Opened RegistryFolder::openFile(const std::string& file) const {
    try {
        return read(file);
    } catch (const std::exception& e) {
        if (isHeldBySomebody(e) || !fs::exists(fs::symlink_status(file))) {
            throw;
        }
        putAside(file, e.what());
    }
    return read(file);
}

void RegistryFolder::putAside(const std::string& file, const std::string& reason) const {
    const auto target = nameForDamaged(file);
    renameWithJournal(file, target);
    tarn::utils::logError(formatMessage("Cannot read the registry " + file + " (" + reason +
                                        "): put aside as " + target));
}

}  // namespace tarn::resource_manager
