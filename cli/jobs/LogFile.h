#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

#include "platform/os/FileDescriptor.h"

namespace tarn::cli {

/// A job's log, which grows, and which its job replaces by an empty one when it is full: what was
/// there is then in a file beside it, with ".1" behind its name. Used by one thread.
class LogFile {
  public:
    /// A longer line is cut there.
    static constexpr std::size_t longestLine = std::size_t{64} << 10U;

    /// CommandError (Failed) when it cannot be opened or is no regular file.
    explicit LogFile(std::string path);

    /// The last lines, at most `count` of them, from the file before where this one has fewer; no
    /// more than some MiB are read. What comes later is told by newLines.
    std::vector<std::string> lastLines(std::size_t count);

    /// The lines that were added since the last call, also across a replacement. Does not wait.
    std::vector<std::string> newLines();

  private:
    void readOn(std::vector<std::string>& lines);
    void add(const char* bytes, std::size_t count, std::vector<std::string>& lines);
    bool wasReplaced() const;
    void openNext();

    const std::string path;
    os::FileDescriptor file;
    off_t position = 0;
    std::string unfinished;
};

}  // namespace tarn::cli
