#pragma once

#include "cli/Session.h"

namespace CLI {
class App;
}

namespace tarn::cli {

/// Each adds one family of commands to the command line; the command that is chosen there leaves
/// its action in `chosen`, which outlives the parsing.
void addInfoCommand(CLI::App& app, Action& chosen);
void addJobsCommands(CLI::App& app, Action& chosen);
void addEnginesCommands(CLI::App& app, Action& chosen);
void addConfigCommands(CLI::App& app, Action& chosen);

/// The members of the jobs family.
void addJobListCommand(CLI::App& jobs, Action& chosen);
void addJobShowCommand(CLI::App& jobs, Action& chosen);
void addJobSubmitCommand(CLI::App& jobs, Action& chosen);
void addJobWatchCommand(CLI::App& jobs, Action& chosen);
void addJobStopCommand(CLI::App& jobs, Action& chosen);

}  // namespace tarn::cli
