#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "platform/os/FileWatch.h"

namespace tarn::access {

/// Larger files of clients are not read, in bytes.
inline constexpr std::size_t largestListFile = std::size_t{1} << 20;

/// A file that says who is let in, and whether it has changed. One that is not there, or cannot be
/// read, lets nobody in, which is logged. One thread at a time.
class ListFile {
  public:
    /// `what` stands in front of each line of the log: "Client keys".
    ListFile(std::string path, std::string what);

    /// What it holds now, an empty text where it lets nobody in; nothing where this process lacks
    /// what it takes to look, which says nothing about the file.
    std::optional<std::string> read();

    /// For poll: readable when it may have changed; -1: nothing tells.
    int descriptor() const { return changes ? changes->descriptor() : -1; }
    /// Whether it may have changed since it was read last.
    bool hasChanged();

    void logProblems(const std::vector<std::string>& problems) const;

  private:
    /// What tells one state of the file from another.
    struct State {
        dev_t device = 0;
        ino_t inode = 0;
        off_t size = 0;
        mode_t mode = 0;
        std::time_t seconds = 0;
        long nanoseconds = 0;
        bool operator==(const State&) const = default;
    };

    std::optional<State> stateNow() const;
    std::optional<std::string> unread(int error) const;

    const std::string path;
    const std::string what;
    std::optional<os::FileWatch> changes;
    std::optional<State> readState;
    enum class Reading { Owed, Done } reading = Reading::Owed;
};

}  // namespace tarn::access
