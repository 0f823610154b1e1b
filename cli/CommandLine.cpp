#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <exception>
#include <string>

#include "cli/CommandError.h"
#include "cli/client/ServiceClient.h"
#include "cli/commands/Commands.h"
#include "cli/keys/KeyPlaces.h"
#include "cli/output/Output.h"
#include "platform/program/CommandLine.h"
#include "platform/program/Options.h"
#include "platform/socket/SocketEndpoint.h"
#include "platform/socket/TcpProtection.h"

namespace tarn::cli {

namespace {

struct GlobalOptions {
    socket::SocketEndpoint endpoint = socket::SocketEndpoint::FromString("ipc:///tmp/requests");
    std::chrono::milliseconds timeout{5000};
    bool waitForService = false;
    bool json = false;
    KeyChoice keys;
};

void addGlobalOptions(CLI::App& app, GlobalOptions& options) {
    app.add_flag("--json", options.json, "Print one JSON document instead of text");
    program::addEndpoint(app, "--endpoint", options.endpoint, "The service's requests endpoint");
    program::addSeconds(app, "--timeout", options.timeout, {.least = 0.001, .most = 24 * 60 * 60},
                        "Seconds to wait for one answer");
    app.add_flag("--wait-for-service", options.waitForService,
                 "Wait for a service that is not there yet, for the time-out at most");
    app.add_option("--key", options.keys.keyFile,
                   "The file of your secret key, for a service over TCP");
    app.add_option("--server-key", options.keys.serverKey,
                   "The service's public key, or the file with it");
}

void addCommand(CLI::App& parent, const Command& command, Action& chosen) {
    CLI::App& line = *parent.add_subcommand(command.name, command.purpose);
    if (command.prepare == nullptr) {
        line.require_subcommand(1);
    } else {
        line.callback([action = command.prepare(line), &chosen] { chosen = action; });
    }
    line.footer(command.footer);  // last: what is added below a line begins with its footer
}

bool mayAskForHelp(const std::string& argument) {
    return argument.starts_with('-') && argument.find('h') != std::string::npos;
}

// To make all commands takes longer than to read the line. Those whose first word does not stand in
// it count for a help only.
bool isNeeded(const CommandPlace& place, const std::vector<std::string>& arguments) {
    const std::string word = place.family == nullptr ? place.row().name : place.family;
    return std::find(arguments.begin(), arguments.end(), word) != arguments.end() ||
           std::any_of(arguments.begin(), arguments.end(), mayAskForHelp);
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
    for (const CommandPlace& place : commandTable) {
        if (!isNeeded(place, arguments)) {
            continue;
        }
        addCommand(place.family == nullptr ? app : *app.get_subcommand(place.family), place.row(),
                   chosen);
    }
}

ServiceClient clientFor(const GlobalOptions& options) {
    return {options.endpoint, options.timeout,
            options.waitForService ? ServiceClient::Absence::IsWaitedOut
                                   : ServiceClient::Absence::FailsAtOnce};
}

ExitStatus tellEnd(const program::EndOfLine& end, Output& output) {
    if (end.exitStatus == program::done) {
        output.plain(end.text);
        return ExitStatus::Done;
    }
    output.notice(end.text);
    return ExitStatus::Usage;
}

ExitStatus run(const std::vector<std::string>& arguments, Output& output) {
    GlobalOptions options;
    Action chosen;
    CLI::App app("Asks and orders the service that runs media jobs on this machine.", "tarnctl");
    build(app, arguments, options, chosen);
    if (const auto end = program::parseArguments(app, arguments)) {
        return tellEnd(*end, output);
    }
    const auto protection = protectConnections(options.keys);
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
