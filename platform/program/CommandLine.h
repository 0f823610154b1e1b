#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tarn::program {

/// How programs end; the numbers are an interface for scripts and service managers.
enum : int { done = 0, failed = 1, usageError = 2 };

/// A line that leaves nothing to be done: `done` after --help and --version, with their text, or
/// `usageError` with a complaint that fits on one line.
struct EndOfLine {
    int exitStatus = done;
    std::string text;
};

/// Parses the arguments, without the program's name in front, and adds --version. `complete` does
/// what needs several options at once; it may throw CLI::ParseError or std::invalid_argument.
/// Nothing when the program is to go on.
std::optional<EndOfLine> parseArguments(CLI::App& app, const std::vector<std::string>& arguments,
                                        const std::function<void()>& complete = {});

/// The command line of a process. Where it does not make sense, that is one line on `err`, and the
/// program ends with status 2.
class CommandLine {
  public:
    /// The streams outlive this. The program is called as the file that it was started from.
    CommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

    /// False when the program is to end now, with `exitStatus`.
    bool parse(CLI::App& app, const std::function<void()>& complete = {});

    int exitStatus() const { return status; }

  private:
    const std::vector<std::string> words;
    std::ostream& out;
    std::ostream& err;
    int status = done;
};

}  // namespace tarn::program
