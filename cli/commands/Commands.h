#pragma once

#include "cli/client/Session.h"

namespace CLI {
class App;
}

namespace tarn::cli {

/// Each adds one family of commands to the command line; the command that is chosen there leaves
/// its action in `chosen`, which outlives the parsing.
void addInfoCommand(CLI::App& app, Action& chosen);
void addJobsCommands(CLI::App& app, Action& chosen);
void addEnginesCommands(CLI::App& app, Action& chosen);
void addDevicesCommand(CLI::App& app, Action& chosen);
void addTreeCommand(CLI::App& app, Action& chosen);
void addEventsCommand(CLI::App& app, Action& chosen);
void addStorageCommands(CLI::App& app, Action& chosen);
void addCaptureCommands(CLI::App& app, Action& chosen);
void addConfigCommands(CLI::App& app, Action& chosen);

/// The members of the jobs family.
void addJobListCommand(CLI::App& jobs, Action& chosen);
void addJobShowCommand(CLI::App& jobs, Action& chosen);
void addJobSubmitCommand(CLI::App& jobs, Action& chosen);
void addJobWatchCommand(CLI::App& jobs, Action& chosen);
void addJobLogCommand(CLI::App& jobs, Action& chosen);
void addJobStopCommand(CLI::App& jobs, Action& chosen);

/// Members of the storage family.
void addStorageTracksCommand(CLI::App& storage, Action& chosen);
void addStorageShowCommand(CLI::App& storage, Action& chosen);
void addStorageCreateCommand(CLI::App& storage, Action& chosen);
void addStorageResizeCommand(CLI::App& storage, Action& chosen);
void addStorageClearCommand(CLI::App& storage, Action& chosen);
void addStorageDestroyCommand(CLI::App& storage, Action& chosen);
void addStoragePropertiesCommand(CLI::App& storage, Action& chosen);
void addStorageWorkersCommand(CLI::App& storage, Action& chosen);

}  // namespace tarn::cli
