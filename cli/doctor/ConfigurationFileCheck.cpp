#include "cli/doctor/Checks.h"
#include "service/configuration/ConfigurationCheck.h"

namespace tarn::cli {

using service::configuration::ProblemSeverity;

Findings checkConfiguration(const Machine& machine) {
    Findings findings;
    const auto file = machine.at(machine.configurationFile).string();
    for (const auto& problem : service::configuration::checkConfigurationFile(file)) {
        const auto line = problem.line > 0 ? ":" + std::to_string(problem.line) : std::string();
        const auto element = problem.element.empty() ? "" : "element " + problem.element + ": ";
        findings.push_back(
            {problem.severity == ProblemSeverity::Error ? Gravity::Error : Gravity::Warning,
             machine.configurationFile + line + ": " + element + problem.text,
             "mend the file, then restart halden-tarn"});
    }
    return findings;
}

}  // namespace tarn::cli
