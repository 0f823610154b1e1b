#include <CLI/CLI.hpp>

#include "cli/commands/Commands.h"

namespace tarn::cli {

void addJobsCommands(CLI::App& app, Action& chosen) {
    CLI::App* jobs = app.add_subcommand("jobs", "List, submit, follow and stop jobs");
    jobs->require_subcommand(1);
    jobs->footer(
        "Examples:\n"
        "  tarnctl jobs list\n"
        "  tarnctl jobs submit --pipeline 'videotestsrc ! autovideosink'");
    addJobListCommand(*jobs, chosen);
    addJobShowCommand(*jobs, chosen);
    addJobSubmitCommand(*jobs, chosen);
    addJobWatchCommand(*jobs, chosen);
    addJobLogCommand(*jobs, chosen);
    addJobStopCommand(*jobs, chosen);
}

}  // namespace tarn::cli
