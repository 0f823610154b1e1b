#include "peers/host_monitor/readings/Mounts.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>

#include "peers/host_monitor/readings/Text.h"

namespace tarn::peers::host_monitor {

namespace {

constexpr std::array<std::string_view, 16> diskTypes = {
    "bcachefs", "btrfs", "exfat", "ext2", "ext3",   "ext4", "f2fs", "hfsplus",
    "jfs",      "msdos", "ntfs3", "ufs",  "nilfs2", "vfat", "xfs",  "zfs"};

// Answer from memory, or from a disk that is always full.
constexpr std::array<std::string_view, 16> harmlessTypes = {
    "cgroup",  "cgroup2", "devpts", "devtmpfs", "erofs",    "hugetlbfs", "iso9660", "mqueue",
    "overlay", "proc",    "ramfs",  "rootfs",   "squashfs", "sysfs",     "tmpfs",   "udf"};

template <typename Names>
bool contains(const Names& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::optional<char> escapedCharacter(std::string_view digits) {
    int value = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '7') {
            return std::nullopt;
        }
        value = value * 8 + (digit - '0');
    }
    const bool isOne = digits.size() == 3 && value > 0 && value < 256;
    return isOne ? std::optional(static_cast<char>(value)) : std::nullopt;
}

// Blanks and the like are written as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto character =
            text[i] == '\\' ? escapedCharacter(text.substr(i + 1, 3)) : std::nullopt;
        result += character.value_or(text[i]);
        i += character ? 3 : 0;
    }
    return result;
}

bool isDisk(const Mount& mount) {
    return contains(diskTypes, mount.type) &&
           (mount.type == "zfs" || mount.source.starts_with("/dev/"));
}

bool mayHang(const Mount& mount) {
    return !contains(diskTypes, mount.type) && !contains(harmlessTypes, mount.type);
}

bool liesBelow(const std::string& path, const std::string& folder) {
    return folder == "/" ? path != "/" : path.starts_with(folder + "/");
}

// Of what is mounted over each other, only the last can be reached.
std::map<std::string, Mount> reachable(const std::vector<Mount>& mounts) {
    std::map<std::string, Mount> byPoint;
    for (const auto& mount : mounts) {
        byPoint.insert_or_assign(mount.point, mount);
    }
    return byPoint;
}

bool isBehindOneThatMayHang(const Mount& mount, const std::map<std::string, Mount>& all) {
    return std::any_of(all.begin(), all.end(), [&](const auto& other) {
        return mayHang(other.second) && liesBelow(mount.point, other.first);
    });
}

}  // namespace

std::vector<Mount> parseMounts(std::string_view text) {
    std::vector<Mount> mounts;
    for (const auto line : linesOf(text)) {
        const auto words = wordsOf(line);
        if (words.size() >= 3 && words[1].starts_with('/')) {
            mounts.push_back({.source = unescaped(words[0]),
                              .point = unescaped(words[1]),
                              .type = std::string(words[2])});
        }
    }
    return mounts;
}

std::vector<Mount> localDisks(const std::vector<Mount>& mounts) {
    const auto all = reachable(mounts);
    std::map<std::string, Mount> bySource;
    for (const auto& [point, mount] : all) {
        if (!isDisk(mount) || isBehindOneThatMayHang(mount, all)) {
            continue;
        }
        const auto [known, isNew] = bySource.emplace(mount.source, mount);
        if (!isNew && point.size() < known->second.point.size()) {
            known->second = mount;
        }
    }
    std::vector<Mount> disks;
    std::transform(bySource.begin(), bySource.end(), std::back_inserter(disks),
                   [](const auto& entry) { return entry.second; });
    std::sort(disks.begin(), disks.end(),
              [](const Mount& a, const Mount& b) { return a.point < b.point; });
    return disks;
}

}  // namespace tarn::peers::host_monitor
