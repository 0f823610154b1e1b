#include "platform/cell/rules/FolderRules.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "platform/cell/rules/SystemFolders.h"

namespace tarn::cell {

namespace fs = std::filesystem;

namespace {

/// A folder whose content is allowed one by one, and what of it is not. Nothing that begins with
/// the maker's name ever is: that is the service's own.
struct Divided {
    std::string folder;
    Access access;
    std::vector<std::string> without;
};
constexpr auto servicesOwn = "halden";

// What is left out at the top is in the list of what every program needs, or divided below, or
// nobody's business.
std::vector<Divided> dividedFolders() {
    return {
        {"/",
         Access::Write,
         {"bin", "boot", "dev", "etc", "lib", "lib32", "lib64", "opt", "proc", "run", "sbin", "sys",
          "usr", "var"}},
        {"/opt", Access::Read, {}},
        {"/run", Access::Write, {"credentials", "secrets", "systemd", "user"}},
        {"/run/user/" + std::to_string(::getuid()), Access::Write, {}},
        {"/var", Access::Write, {"lib", "log"}},
        {"/var/lib", Access::Write, {"private"}},
        {"/var/log", Access::Write, {"private"}},
    };
}

// Where a link leads is asked under the name that it leads to.
bool isLeftOut(const fs::directory_entry& entry, const Divided& divided) {
    const auto name = entry.path().filename().string();
    std::error_code ignored;
    return name.starts_with(servicesOwn) || entry.is_symlink(ignored) ||
           std::find(divided.without.begin(), divided.without.end(), name) != divided.without.end();
}

void addNeighbours(const Divided& divided, std::vector<FolderRule>& rules) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(divided.folder, ignored)) {
        if (!isLeftOut(entry, divided)) {
            rules.push_back({entry.path().string(), divided.access});
        }
    }
}

// Capture cards have names of their makers' choice. Memory and the machine's ports are none.
void addCharacterDevices(std::vector<FolderRule>& rules) {
    constexpr const char* dangerous[] = {"kmem", "kmsg", "mem", "nvram", "port"};
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/dev", ignored)) {
        const auto name = entry.path().filename().string();
        const bool left =
            std::find(std::begin(dangerous), std::end(dangerous), name) != std::end(dangerous);
        if (!left && entry.is_character_file(ignored)) {
            rules.push_back({entry.path().string(), Access::ReadDevice});
        }
    }
}

}  // namespace

std::vector<FolderRule> folderRules(const Cell& cell) {
    auto rules = systemFolders();
    const auto searched = searchFolders();
    rules.insert(rules.end(), searched.begin(), searched.end());
    for (const auto& path : cell.read) {
        rules.push_back({path, Access::Read, /*mustBeThere=*/true});
    }
    for (const auto& path : cell.write) {
        rules.push_back({path, Access::Write, /*mustBeThere=*/true});
    }
    if (cell.folders == Folders::AllButTheServices) {
        for (const auto& divided : dividedFolders()) {
            addNeighbours(divided, rules);
        }
        addCharacterDevices(rules);
    }
    return rules;
}

}  // namespace tarn::cell
