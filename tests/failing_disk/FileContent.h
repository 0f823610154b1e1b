#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace tarn::failing_disk {

/// Decides, each time it is asked, what nobody may rely on: whether something that was not synced
/// has reached the disk all the same.
using Luck = std::function<bool()>;

/// The bytes of one file, twice: as programs see them, and as they are found when the power comes
/// back. They differ in the sectors that were written since the last sync. A disk writes a sector
/// whole or not at all, and sectors in any order. No thread safety of its own.
class FileContent {
  public:
    static constexpr std::size_t sectorSize = 512;

    std::uint64_t size() const { return visible.size(); }
    /// Less than `size` bytes at the file's end.
    std::string read(std::uint64_t offset, std::size_t size) const;
    /// Makes the file longer where it must.
    void write(std::uint64_t offset, std::string_view bytes);
    /// Cuts it, or makes it longer with zeros.
    void resize(std::uint64_t size);

    /// What programs see is on the disk afterwards, but for what a failed sync has given up.
    void sync();
    /// As the kernel does: what has not reached the disk counts as written from then on, and no
    /// later sync tries again. Programs still see it, until dropCache.
    void failSync(const Luck& hasReached);
    /// The kernel needs its memory: what failed syncs have given up is seen no more.
    void dropCache();
    /// The kernel writes when it likes, too.
    void writeBack(const Luck& reaches);
    /// What is seen afterwards is what was on the disk, and what of the rest has reached it.
    void losePower(const Luck& hasReached);

    bool isSynced() const { return dirty.empty() && stable.size() == visible.size(); }

  private:
    void mark(std::uint64_t from, std::uint64_t to);
    void put(std::size_t sector, std::string& target) const;
    void commitSize();

    std::string visible;
    std::string stable;
    std::set<std::size_t> dirty;    // sectors
    std::set<std::size_t> givenUp;  // sectors
    std::size_t shortest = 0;       // since the size was committed last
};

}  // namespace tarn::failing_disk
