#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/commands/Commands.h"
#include "cli/doctor/Checks.h"
#include "cli/output/Output.h"

namespace tarn::cli {

namespace {

struct DoctorOptions {
    std::string configuration = "/etc/TarnConfiguration.xml";
};

/// What one check found.
struct Report {
    std::string check;
    Findings findings;
};

const char* word(Gravity gravity) {
    switch (gravity) {
        case Gravity::Error:
            return "error";
        case Gravity::Warning:
            return "warning";
        case Gravity::Unseen:
            break;
    }
    return "not seen";
}

std::vector<Report> lookAt(const Machine& machine) {
    std::vector<Report> reports;
    for (const auto& check : doctorsChecks) {
        reports.push_back({check.name, check.look(machine)});
    }
    return reports;
}

nlohmann::ordered_json documentOf(const std::vector<Report>& reports) {
    auto list = nlohmann::ordered_json::array();
    for (const auto& report : reports) {
        for (const auto& finding : report.findings) {
            list.push_back({{"check", report.check},
                            {"severity", word(finding.gravity)},
                            {"text", finding.text},
                            {"remedy", finding.remedy}});
        }
    }
    return {{"findings", std::move(list)}};
}

void print(const std::vector<Report>& reports, Output& output) {
    for (const auto& report : reports) {
        if (report.findings.empty()) {
            output.line("ok        " + report.check);
        }
        for (const auto& finding : report.findings) {
            std::string gravity = word(finding.gravity);
            gravity.resize(10, ' ');
            output.line(gravity + report.check + ": " + finding.text);
            output.line("          -> " + finding.remedy);
        }
    }
}

bool hasError(const Report& report) {
    return std::any_of(report.findings.begin(), report.findings.end(),
                       [](const Finding& finding) { return finding.gravity == Gravity::Error; });
}

ExitStatus examine(const DoctorOptions& options, const Session& session) {
    const auto reports = lookAt(thisMachine(options.configuration));
    show(
        session, [&] { return documentOf(reports); },
        [&](Output& output) { print(reports, output); });
    const bool bad = std::any_of(reports.begin(), reports.end(), hasError);
    return bad ? ExitStatus::Failed : ExitStatus::Done;
}

void addOptions(CLI::App& line, DoctorOptions& options) {
    line.add_option("--configuration", options.configuration, "The service's configuration")
        ->capture_default_str();
}

}  // namespace

Command doctorCommand() {
    return {.name = "doctor",
            .purpose = "Say what is wrong on this machine, and what to do",
            .footer =
                "Looks, and changes nothing. What only root may see it says so of. The exit status "
                "is 1\n"
                "if there is an error; warnings, and what was not seen, are 0.\n"
                "Examples:\n"
                "  sudo tarnctl doctor\n"
                "  tarnctl doctor --json",
            .prepare = with(addOptions, examine)};
}

}  // namespace tarn::cli
