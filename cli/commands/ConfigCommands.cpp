#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
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
    if (session.format == Format::Json) {
        session.output.document(documentOf(file, problems));
    } else {
        print(file, problems, session.output);
    }
    const bool bad = std::any_of(problems.begin(), problems.end(), isError);
    return bad ? ExitStatus::Failed : ExitStatus::Done;
}

void addCheck(CLI::App& config, Action& chosen) {
    const auto file = std::make_shared<std::string>();
    CLI::App* command =
        config.add_subcommand("check", "Say what is wrong with a configuration file");
    command->add_option("FILE", *file, "The file")->required();
    command->footer(
        "Asks no service. The exit status is 1 if there is an error; warnings alone are 0.\n"
        "Example:\n"
        "  tarnctl config check /etc/TarnConfiguration.xml");
    command->callback([file, &chosen] {
        chosen = [file](const Session& session) { return checkFile(*file, session); };
    });
}

}  // namespace

void addConfigCommands(CLI::App& app, Action& chosen) {
    CLI::App* config = app.add_subcommand("config", "Check the service's configuration");
    config->require_subcommand(1);
    config->footer(
        "Example:\n"
        "  tarnctl config check /etc/TarnConfiguration.xml");
    addCheck(*config, chosen);
}

}  // namespace tarn::cli
