#include "peers/job_runtime/launcher/LauncherOptions.h"

#include <CLI/CLI.hpp>

namespace tarn::peers {

namespace {

constexpr int usageError = 2;
constexpr double longestTimeout = 3600;

// The library's own check of a range lets "nan" pass.
std::string checkTimeout(const std::string& text) {
    double seconds = 0;
    const bool isNumber = CLI::detail::lexical_cast(text, seconds);
    const bool fits = isNumber && seconds >= 0 && seconds <= longestTimeout;
    return fits ? "" : "'" + text + "' is not between 0 and 3600 seconds";
}

}  // namespace

std::optional<LauncherOptions> parseLauncherOptions(int argc, const char* const* argv,
                                                    const std::string& purpose, int& exitStatus) {
    LauncherOptions options;
    double setupSeconds = 10;
    CLI::App app(purpose);
    app.add_option("-l,--label", options.label, "Names the job's log file");
    app.add_option("-e,--endpoint", options.endpoint, "Endpoint on which the setup will arrive")
        ->required();
    app.add_flag("-d,--daemon", options.daemon, "Detach from the terminal and the caller");
    app.add_option("--log-folder", options.logFolder, "Folder for the job's log file");
    app.add_option("--setup-timeout", setupSeconds, "How long to wait for the setup, in seconds")
        ->check(checkTimeout)
        ->group("");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end) == 0 ? 0 : usageError;
        return std::nullopt;
    }
    options.setupTimeout = std::chrono::milliseconds(static_cast<long>(setupSeconds * 1000));
    return options;
}

}  // namespace tarn::peers
