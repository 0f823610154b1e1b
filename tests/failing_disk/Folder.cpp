#include "tests/failing_disk/Folder.h"

#include <algorithm>

namespace tarn::failing_disk {

std::optional<NodeNumber> Folder::find(const std::string& name) const {
    const auto found = visible.find(name);
    return found == visible.end() ? std::nullopt : std::optional(found->second);
}

bool Folder::wouldBeFound(NodeNumber number) const {
    const auto isIt = [number](const auto& entry) { return entry.second == number; };
    return std::any_of(stable.begin(), stable.end(), isIt) ||
           std::any_of(unsynced.begin(), unsynced.end(), [&](const Change& change) {
               return std::any_of(change.begin(), change.end(), isIt);
           });
}

void Folder::put(const std::string& name, NodeNumber number) {
    note({{name, number}});
}

void Folder::remove(const std::string& name) {
    note({{name, std::nullopt}});
}

void Folder::rename(const std::string& from, const std::string& to) {
    const auto number = visible.at(from);
    if (from != to) {
        note({{to, number}, {from, std::nullopt}});
    }
}

void Folder::note(Change change) {
    apply(change, visible);
    unsynced.push_back(std::move(change));
}

void Folder::apply(const Change& change, Entries& entries) {
    for (const auto& [name, number] : change) {
        if (number) {
            entries[name] = *number;
        } else {
            entries.erase(name);
        }
    }
}

void Folder::sync() {
    stable = visible;
    unsynced.clear();
}

void Folder::losePower(const Luck& hasReached) {
    while (!unsynced.empty() && hasReached()) {
        apply(unsynced.front(), stable);
        unsynced.pop_front();
    }
    unsynced.clear();
    visible = stable;
}

}  // namespace tarn::failing_disk
