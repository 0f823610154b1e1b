#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <exception>
#include <optional>
#include <sstream>
#include <string_view>

#include "cli/CommandError.h"
#include "cli/OptionChecks.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/output/Output.h"
#include "platform/socket/SocketEndpoint.h"

namespace tarn::cli {

namespace {

constexpr double longestTimeout = 24 * 60 * 60;  // in seconds

struct GlobalOptions {
    std::string endpoint = "ipc:///tmp/requests";
    double timeout = 5;
    bool waitForService = false;
    bool json = false;
};

std::string checkTimeout(const std::string& text) {
    double seconds = 0;
    const bool number = CLI::detail::lexical_cast(text, seconds);
    return number && seconds >= 0.001 && seconds <= longestTimeout
               ? ""
               : "a number of seconds from 0.001 to 86400 is expected";
}

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
    app.add_flag("--json", options.json, "Print one JSON document instead of text");
    app.add_option("--endpoint", options.endpoint, "The service's requests endpoint")
        ->check(checkEndpoint)
        ->capture_default_str();
    app.add_option("--timeout", options.timeout, "Seconds to wait for one answer")
        ->check(checkTimeout)
        ->capture_default_str();
    app.add_flag("--wait-for-service", options.waitForService,
                 "Wait for a service that is not there yet, for the time-out at most");
    app.set_version_flag("--version", "tarnctl " TARN_VERSION);
}

/// The commands that begin with one word.
struct Family {
    std::string_view word;
    void (*add)(CLI::App& app, Action& chosen);
};

constexpr std::array families{
    Family{"info", addInfoCommand},        Family{"jobs", addJobsCommands},
    Family{"engines", addEnginesCommands}, Family{"devices", addDevicesCommand},
    Family{"tree", addTreeCommand},        Family{"events", addEventsCommand},
    Family{"storage", addStorageCommands}, Family{"capture", addCaptureCommands},
    Family{"config", addConfigCommands},
};

bool mayAskForHelp(const std::string& argument) {
    return argument.starts_with('-') && argument.find('h') != std::string::npos;
}

// To make them all takes longer than to read the line. Where their words do not stand in it, they
// count for a help only.
void addFamilies(CLI::App& app, const std::vector<std::string>& arguments, Action& chosen) {
    const bool all = std::any_of(arguments.begin(), arguments.end(), mayAskForHelp);
    for (const auto& family : families) {
        if (all || std::find(arguments.begin(), arguments.end(), family.word) != arguments.end()) {
            family.add(app, chosen);
        }
    }
}

void build(CLI::App& app, const std::vector<std::string>& arguments, GlobalOptions& options,
           Action& chosen) {
    app.fallthrough();  // the options here may also stand behind a sub-command
    app.require_subcommand(1);
    addGlobalOptions(app, options);
    app.footer(
        "Exit status: 0 done, 1 refused or failed, 2 usage, 3 no answer or no service.\n"
        "Examples:\n"
        "  tarnctl info\n"
        "  tarnctl jobs list --json\n"
        "  tarnctl --endpoint tcp://server:5555 jobs show 3f2a");
    addFamilies(app, arguments, chosen);
}

ServiceClient clientFor(const GlobalOptions& options) {
    const std::chrono::duration<double, std::milli> timeout(std::ceil(options.timeout * 1000));
    return {socket::SocketEndpoint::FromString(options.endpoint),
            std::chrono::duration_cast<std::chrono::milliseconds>(timeout),
            options.waitForService ? ServiceClient::Absence::IsWaitedOut
                                   : ServiceClient::Absence::FailsAtOnce};
}

// The parser calls an unknown command a missing one.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
    const auto unknown = app.remaining(/*recurse=*/true);
    const bool missing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    const bool command = !unknown.empty() && !unknown.front().starts_with("-");
    return missing && command ? "unknown command \"" + unknown.front() + "\"" : error.what();
}

// Nothing when the line asks for an action, which is then in `chosen`.
std::optional<ExitStatus> parse(CLI::App& app, const std::vector<std::string>& arguments,
                                Output& output) {
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        return std::nullopt;
    } catch (const CLI::Success& e) {  // help or version was asked for
        std::ostringstream text;
        app.exit(e, text, text);
        output.plain(text.str() + (text.str().ends_with('\n') ? "" : "\n"));
        return ExitStatus::Done;
    } catch (const CLI::ParseError& e) {
        output.notice(complaint(app, e) + " (see tarnctl --help)");
        return ExitStatus::Usage;
    }
}

ExitStatus run(const std::vector<std::string>& arguments, Output& output) {
    GlobalOptions options;
    Action chosen;
    CLI::App app("Asks and orders the service that runs media jobs on this machine.", "tarnctl");
    build(app, arguments, options, chosen);
    if (const auto done = parse(app, arguments, output)) {
        return *done;
    }
    ServiceClient service = clientFor(options);
    return chosen({service, output, options.json ? Format::Json : Format::Text});
}

}  // namespace

ExitStatus runCommandLine(const std::vector<std::string>& arguments, Output& output) {
    try {
        const ExitStatus status = run(arguments, output);
        output.flush();
        return status;
    } catch (const CommandError& e) {
        output.notice(e.what());
        return e.status();
    } catch (const std::exception& e) {
        output.notice(e.what());
        return ExitStatus::Failed;
    }
}

}  // namespace tarn::cli
