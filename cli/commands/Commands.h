#pragma once

#include <functional>
#include <memory>
#include <string>

#include "cli/client/Session.h"

namespace CLI {
class App;
}

namespace tarn::cli {

/// A command of tarnctl, or a family of them, which has nothing to prepare.
struct Command {
    /// Adds the command's options to its line, and gives what it does with them.
    using Preparation = std::function<Action(CLI::App& line)>;

    std::string name;
    std::string purpose;  ///< one line
    std::string footer;   ///< examples, below the options
    Preparation prepare = nullptr;
};

/// For a command that has options: `add` makes the members of an Options the options of the line,
/// and `run` is called with what was given there.
template <typename Options>
Command::Preparation with(void (*add)(CLI::App& line, Options& options),
                          ExitStatus (*run)(const Options& options, const Session& session)) {
    return [add, run](CLI::App& line) -> Action {
        const auto options = std::make_shared<Options>();
        add(line, *options);
        return [options, run](const Session& session) { return run(*options, session); };
    };
}

/// For a command without options.
inline Command::Preparation with(ExitStatus (*run)(const Session& session)) {
    return [run](CLI::App&) -> Action { return run; };
}

// The commands, each in a file of its own or of its family.
using CommandRow = Command();
CommandRow infoCommand;
CommandRow jobsFamily, jobListCommand, jobShowCommand, jobSubmitCommand, jobWatchCommand;
CommandRow jobLogCommand, jobStopCommand;
CommandRow enginesFamily, engineSubmitCommand;
CommandRow devicesCommand;
CommandRow treeCommand;
CommandRow eventsCommand;
CommandRow storageFamily, storageTracksCommand, storageShowCommand, storageCreateCommand;
CommandRow storageResizeCommand, storageClearCommand, storageDestroyCommand;
CommandRow storagePropertiesCommand, storageWorkersCommand, storageSpaceCommand;
CommandRow storageTicketCommand;
CommandRow captureFamily, captureShowCommand, captureSetCommand;
CommandRow configFamily, configCheckCommand;
CommandRow accessFamily, accessGrantCommand, accessRevokeCommand, accessListCommand;
CommandRow doctorCommand;
CommandRow keysFamily, keysGenerateCommand, keysAddCommand, keysListCommand, keysRemoveCommand;
CommandRow certificatesFamily, certificatesGenerateCommand, certificatesAddCommand;
CommandRow certificatesListCommand, certificatesRemoveCommand;

/// All of them, in the order of the help; members behind their family.
struct CommandPlace {
    CommandRow* row;
    const char* family = nullptr;  ///< null: directly below tarnctl
};
inline constexpr CommandPlace commandTable[] = {
    {infoCommand},
    {jobsFamily},
    {jobListCommand, "jobs"},
    {jobShowCommand, "jobs"},
    {jobSubmitCommand, "jobs"},
    {jobWatchCommand, "jobs"},
    {jobLogCommand, "jobs"},
    {jobStopCommand, "jobs"},
    {enginesFamily},
    {engineSubmitCommand, "engines"},
    {devicesCommand},
    {treeCommand},
    {eventsCommand},
    {storageFamily},
    {storageTracksCommand, "storage"},
    {storageShowCommand, "storage"},
    {storageCreateCommand, "storage"},
    {storageResizeCommand, "storage"},
    {storageClearCommand, "storage"},
    {storageDestroyCommand, "storage"},
    {storagePropertiesCommand, "storage"},
    {storageWorkersCommand, "storage"},
    {storageSpaceCommand, "storage"},
    {storageTicketCommand, "storage"},
    {captureFamily},
    {captureShowCommand, "capture"},
    {captureSetCommand, "capture"},
    {configFamily},
    {configCheckCommand, "config"},
    {accessFamily},
    {accessGrantCommand, "access"},
    {accessRevokeCommand, "access"},
    {accessListCommand, "access"},
    {doctorCommand},
    {keysFamily},
    {keysGenerateCommand, "keys"},
    {keysAddCommand, "keys"},
    {keysListCommand, "keys"},
    {keysRemoveCommand, "keys"},
    {certificatesFamily},
    {certificatesGenerateCommand, "certificates"},
    {certificatesAddCommand, "certificates"},
    {certificatesListCommand, "certificates"},
    {certificatesRemoveCommand, "certificates"},
};

}  // namespace tarn::cli
