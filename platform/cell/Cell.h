#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::cell {

/// Which files a process in a cell can reach beside what every program needs of the system.
enum class Folders {
    /// Those of its user, but for what belongs to the service itself: its configuration, keys,
    /// registry, logs, and the files of persistent jobs.
    AllButTheServices,
    /// Those that `read` and `write` name.
    Named,
};

/// Whether a process that goes on as the user of the service may open Unix sockets: it could
/// connect to those of the service then. A process with a user of its own always may, since the
/// modes of socket files keep it out where it has no business.
enum class LocalSockets { Refused, Allowed };

/// What a process in a cell may use at most; 0 leaves the limit that it was started with.
struct Limits {
    std::uint64_t memoryBytes = 0;  ///< private memory that it can write to
    std::uint64_t processes = 0;    ///< of its user, threads included; only for a user of its own
    std::uint64_t descriptors = 0;
};

/// What a process is confined to from now on: a value.
struct Cell {
    Folders folders = Folders::AllButTheServices;
    std::vector<std::string> read = {};  ///< absolute paths; what is below can be read
    std::vector<std::string> write =
        {};  ///< the same; what is below can be made and changed as well
    LocalSockets localSockets = LocalSockets::Allowed;
    Limits limits = {};
    std::string user = {};  ///< whom the process becomes, where it may; empty: it stays who it is
};

/// What became of a cell.
struct CellReport {
    std::string built;                 ///< for people, in one line
    std::vector<std::string> missing;  ///< what does not confine it, and why
    std::vector<std::string> notes;    ///< what else is worth a line: a folder that is not there
};

/// Confines the calling process, for good, and with it all that it starts. Nothing can be taken
/// back, so it is done by a process that runs nothing else: only its calling thread is confined for
/// certain, and a process that has more is reported as `missing`. Does not throw for what this
/// kernel or this user lacks: that is `missing`, and the rest is built all the same.
CellReport enter(const Cell& cell);

}  // namespace tarn::cell
