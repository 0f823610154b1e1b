#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/commands/Commands.h"
#include "cli/output/Output.h"
#include "service/configuration/ConfigurationCheck.h"

namespace tarn::cli {

using service::configuration::ConfigurationProblem;
using service::configuration::ProblemSeverity;

namespace {

using Problems = std::vector<ConfigurationProblem>;

const char* word(ProblemSeverity severity) {
    return severity == ProblemSeverity::Error ? "error" : "warning";
}

bool isError(const ConfigurationProblem& problem) {
    return problem.severity == ProblemSeverity::Error;
}

// As compilers do, so that editors jump to the line.
std::string textOf(const std::string& file, const ConfigurationProblem& problem) {
    std::string text = file;
    if (problem.line > 0) {
        text += ":" + std::to_string(problem.line);
    }
    text += std::string(": ") + word(problem.severity) + ": ";
    return problem.element.empty() ? text + problem.text
                                   : text + "element " + problem.element + ": " + problem.text;
}

nlohmann::ordered_json documentOf(const std::string& file, const Problems& problems) {
    auto list = nlohmann::ordered_json::array();
    for (const ConfigurationProblem& problem : problems) {
        nlohmann::ordered_json entry = {{"severity", word(problem.severity)},
                                        {"text", problem.text}};
        if (!problem.element.empty()) {
            entry["element"] = problem.element;
        }
        if (problem.line > 0) {
            entry["line"] = problem.line;
        }
        list.push_back(std::move(entry));
    }
    return {{"file", file}, {"problems", std::move(list)}};
}

void print(const std::string& file, const Problems& problems, Output& output) {
    for (const ConfigurationProblem& problem : problems) {
        output.line(textOf(file, problem));
    }
    if (problems.empty()) {
        output.line(file + ": nothing to complain of");
    }
}

ExitStatus checkFile(const std::string& file, const Session& session) {
    const Problems problems = service::configuration::checkConfigurationFile(file);
    show(
        session, [&] { return documentOf(file, problems); },
        [&](Output& output) { print(file, problems, output); });
    const bool bad = std::any_of(problems.begin(), problems.end(), isError);
    return bad ? ExitStatus::Failed : ExitStatus::Done;
}

void addOptions(CLI::App& line, std::string& file) {
    line.add_option("FILE", file, "The file")->required();
}

}  // namespace

Command configFamily() {
    return {.name = "config",
            .purpose = "Check the service's configuration",
            .footer =
                "Example:\n"
                "  tarnctl config check /etc/TarnConfiguration.xml"};
}

Command configCheckCommand() {
    return {.name = "check",
            .purpose = "Say what is wrong with a configuration file",
            .footer =
                "Asks no service. The exit status is 1 if there is an error; warnings alone "
                "are 0.\n"
                "Example:\n"
                "  tarnctl config check /etc/TarnConfiguration.xml",
            .prepare = with(addOptions, checkFile)};
}

}  // namespace tarn::cli
