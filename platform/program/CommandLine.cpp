#include "platform/program/CommandLine.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "platform/utils/Printable.h"

namespace tarn::program {

namespace {

constexpr std::size_t longestComplaint = 400;

// The parser calls an unknown command a missing one.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
    const auto unknown = app.remaining(/*recurse=*/true);
    const bool missing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    const bool command = app.get_require_subcommand_min() > 0 && !unknown.empty() &&
                         !unknown.front().starts_with("-");
    return missing && command ? "unknown command \"" + unknown.front() + "\"" : error.what();
}

EndOfLine usage(const CLI::App& app, const std::string& reason) {
    return {usageError, reason + " (see " + app.get_name() + " --help)"};
}

EndOfLine answer(const CLI::App& app, const CLI::Success& asked) {
    std::ostringstream text;
    app.exit(asked, text, text);
    return {done, text.str() + (text.str().ends_with('\n') ? "" : "\n")};
}

}  // namespace

std::optional<EndOfLine> parseArguments(CLI::App& app, const std::vector<std::string>& arguments,
                                        const std::function<void()>& complete) {
    app.set_version_flag("--version", app.get_name() + " " TARN_VERSION);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        if (complete) {
            complete();
        }
        return std::nullopt;
    } catch (const CLI::Success& asked) {
        return answer(app, asked);
    } catch (const CLI::ParseError& error) {
        return usage(app, complaint(app, error));
    } catch (const std::invalid_argument& error) {
        return EndOfLine{usageError, error.what()};  // of what was asked for; help would not help
    }
}

CommandLine::CommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err)
    : words(argv, argv + argc), out(out), err(err) {}

bool CommandLine::parse(CLI::App& app, const std::function<void()>& complete) {
    app.name(words.empty() ? "" : std::filesystem::path(words.front()).filename().string());
    const std::vector<std::string> arguments(words.begin() + (words.empty() ? 0 : 1), words.end());
    const auto end = parseArguments(app, arguments, complete);
    if (!end) {
        return true;
    }
    status = end->exitStatus;
    if (status == done) {
        out << end->text << std::flush;
    } else {
        err << app.get_name() << ": " << utils::printable(end->text, longestComplaint) << std::endl;
    }
    return false;
}

}  // namespace tarn::program
