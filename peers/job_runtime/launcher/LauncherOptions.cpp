#include "peers/job_runtime/launcher/LauncherOptions.h"

#include <CLI/CLI.hpp>
#include <utility>

#include "platform/program/CommandLine.h"
#include "platform/program/Options.h"

namespace tarn::peers {

std::optional<LauncherOptions> parseLauncherOptions(program::CommandLine& line,
                                                    const std::string& purpose) {
    LauncherOptions options;
    CLI::App app(purpose);
    app.add_option("-l,--label", options.label, "Names the job's log file");
    app.add_option("-e,--endpoint", options.endpoint, "Endpoint on which the setup will arrive")
        ->required();
    app.add_flag("-d,--daemon", options.daemon, "Detach from the terminal and the caller");
    app.add_option("--log-folder", options.logFolder, "Folder for the job's log file");
    program::addSeconds(app, "--setup-timeout", options.setupTimeout, {.least = 0, .most = 3600},
                        "How long to wait for the setup, in seconds")
        ->group("");
    return line.parse(app) ? std::optional(std::move(options)) : std::nullopt;
}

}  // namespace tarn::peers
