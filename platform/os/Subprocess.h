#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/os/FileDescriptor.h"

namespace tarn::os {

/// A program that this process has started: with default signal handlers and mask, nothing to read,
/// the limit of descriptors that this process was started with, and no descriptors but the standard
/// ones and what it is given here. Used by one thread.
class Subprocess {
  public:
    /// Whether what the program starts in turn ends with it.
    enum class Group {
        Own,     ///< it does: the program leads a process group of its own
        Shared,  ///< it does not: for a shell that leaves commands in the background
    };
    struct Start {
        std::vector<std::string> arguments;  ///< the first is the program's path
        int output = -1;   ///< for its standard output and error; this process's own unless given
        int channel = -1;  ///< handed on as well, as `channelNumber`, when given
        Group group = Group::Own;
        /// "NAME=value" each; this process's own unless given.
        std::optional<std::vector<std::string>> environment = std::nullopt;
    };
    static constexpr int channelNumber = 3;

    /// Throws std::system_error. The limit of descriptors is set just after the start: what a
    /// program starts at once in turn may have the one of this process.
    explicit Subprocess(Start start);
    /// Kills it, if it still runs, and waits for its end, a second at most.
    ~Subprocess();
    Subprocess(const Subprocess&) = delete;
    Subprocess& operator=(const Subprocess&) = delete;

    pid_t id() const { return processId; }

    /// For poll: readable when it has ended.
    int descriptor() const { return process.get(); }

    /// To its group, or to it alone where the group is shared; to nobody once its end was seen.
    void signal(int number) const;

    /// Its status as waitpid gives it, once: nothing when it still runs after `bound`. What is left
    /// of a group of its own is killed then.
    std::optional<int> waitForEnd(std::chrono::milliseconds bound);

  private:
    enum class Life { Running, Reaped };

    std::optional<int> endAndReap(int waitFlags);

    const Group group;
    const pid_t processId;
    Life life = Life::Running;
    FileDescriptor process;
};

/// The path of the program of that name in the folder of the running one. Throws
/// std::filesystem_error.
std::string besideThisProgram(const std::string& name);

}  // namespace tarn::os
