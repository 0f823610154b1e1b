#pragma once

#include <string>
#include <vector>

#include "platform/os/FileDescriptor.h"

namespace tarn::peers::ingest_service {

/// What a run of the program has on the machine that would outlive its sudden end: a file with the
/// process, its socket files and its shared memory, locked while the process lives.
///
/// The next run finds the file unlocked and removes what it names. Of several runs with the same
/// prefix only one can be alive.
class RunRecord {
  public:
    /// Takes over PREFIX.run, and removes what a dead process left according to it. Waits for a
    /// run that is just ending. Throws std::runtime_error when another one is running, or the file
    /// is not ours.
    explicit RunRecord(std::string prefix);
    ~RunRecord();  ///< removes the file: nothing is left by then
    RunRecord(const RunRecord&) = delete;
    RunRecord& operator=(const RunRecord&) = delete;

    /// The socket file of a channel.
    std::string socketPath(unsigned channel) const;

    /// Before they are made, and after: the names of shared memory are found then. Throws
    /// std::system_error when it cannot be written.
    void note(const std::vector<std::string>& sockets);

  private:
    void takeOver();
    bool isStillInPlace() const;
    void removeLeftovers(const std::string& content) const;
    void removeSocket(const std::string& file) const;

    const std::string prefix;
    const std::string path;
    os::FileDescriptor file;
};

}  // namespace tarn::peers::ingest_service
