#include "tests/failing_disk/FileContent.h"

#include <algorithm>

namespace tarn::failing_disk {

std::string FileContent::read(std::uint64_t offset, std::size_t size) const {
    return offset >= visible.size() ? std::string() : visible.substr(offset, size);
}

void FileContent::write(std::uint64_t offset, std::string_view bytes) {
    const auto end = offset + bytes.size();
    if (end > visible.size()) {
        resize(end);
    }
    visible.replace(offset, bytes.size(), bytes);
    mark(offset, end);
}

void FileContent::resize(std::uint64_t size) {
    const auto before = visible.size();
    visible.resize(size, '\0');
    shortest = std::min<std::size_t>(shortest, size);
    if (size > before) {
        mark(before, size);
        return;
    }
    const auto sectors = (size + sectorSize - 1) / sectorSize;
    dirty.erase(dirty.lower_bound(sectors), dirty.end());
    givenUp.erase(givenUp.lower_bound(sectors), givenUp.end());
}

void FileContent::mark(std::uint64_t from, std::uint64_t to) {
    for (auto sector = from / sectorSize; sector * sectorSize < to; ++sector) {
        dirty.insert(dirty.end(), sector);
        givenUp.erase(sector);
    }
}

void FileContent::put(std::size_t sector, std::string& target) const {
    const auto at = sector * sectorSize;
    if (at < target.size()) {
        const auto length = std::min(sectorSize, target.size() - at);
        target.replace(at, length, visible, at, length);
    }
}

// What was cut away comes back as zeros.
void FileContent::commitSize() {
    stable.resize(std::min(stable.size(), shortest));
    stable.resize(visible.size(), '\0');
    shortest = visible.size();
}

void FileContent::sync() {
    commitSize();
    for (const auto sector : dirty) {
        put(sector, stable);
    }
    dirty.clear();
}

void FileContent::failSync(const Luck& hasReached) {
    commitSize();
    for (const auto sector : dirty) {
        if (hasReached()) {
            put(sector, stable);
        } else {
            givenUp.insert(sector);
        }
    }
    dirty.clear();
}

void FileContent::dropCache() {
    for (const auto sector : givenUp) {
        const auto at = sector * sectorSize;
        const auto length = std::min(sectorSize, visible.size() - at);
        visible.replace(at, length, stable, at, length);
    }
    givenUp.clear();
}

void FileContent::writeBack(const Luck& reaches) {
    const auto sectors = std::min(stable.size(), shortest) / sectorSize;
    std::erase_if(dirty, [&](std::size_t sector) {
        const bool isWritten = sector < sectors && reaches();
        if (isWritten) {
            put(sector, stable);
        }
        return isWritten;
    });
}

void FileContent::losePower(const Luck& hasReached) {
    if (stable.size() != visible.size() || shortest != visible.size()) {
        if (hasReached()) {
            commitSize();
        }
    }
    for (const auto sector : dirty) {
        if (hasReached()) {
            put(sector, stable);
        }
    }
    visible = stable;
    dirty.clear();
    givenUp.clear();
    shortest = visible.size();
}

}  // namespace tarn::failing_disk
