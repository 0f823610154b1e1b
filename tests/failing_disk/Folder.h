#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/failing_disk/FileContent.h"

namespace tarn::failing_disk {

/// Of a file or a folder; never given twice.
using NodeNumber = std::uint64_t;

/// The names in one folder, twice: as programs see them, and as they are found when the power
/// comes back. Changes reach the disk one after the other, each whole, with the folder's sync.
/// That of a file in it says nothing of its name. No thread safety of its own.
class Folder {
  public:
    using Entries = std::map<std::string, NodeNumber>;

    const Entries& entries() const { return visible; }
    std::optional<NodeNumber> find(const std::string& name) const;
    bool wouldBeFound(NodeNumber number) const;

    void put(const std::string& name, NodeNumber number);
    void remove(const std::string& name);
    /// Goes in the place of what has the new name already. `from` must be there.
    void rename(const std::string& from, const std::string& to);

    void sync();
    /// Of the changes since the last sync, the first ones may have reached the disk.
    void losePower(const Luck& hasReached);

  private:
    // Names, and what they stand for from then on: nothing is one that is removed.
    using Change = std::vector<std::pair<std::string, std::optional<NodeNumber>>>;

    static void apply(const Change& change, Entries& entries);
    void note(Change change);

    Entries visible;
    Entries stable;
    std::deque<Change> unsynced;
};

}  // namespace tarn::failing_disk
