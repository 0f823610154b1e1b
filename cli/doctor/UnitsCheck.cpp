#include <charconv>
#include <map>
#include <sstream>

#include "cli/doctor/Checks.h"

namespace tarn::cli {

namespace {

constexpr const char* units[] = {"halden-tarn.service", "halden-tarn-gateway.service",
                                 "halden-tarn-host-monitor.service",
                                 "halden-tarn-loop-storage.service"};
constexpr int manyRestarts = 3;

using Properties = std::map<std::string, std::string>;

// One block of NAME=VALUE for each unit, with an empty line between them.
std::vector<Properties> blocksOf(const std::string& text) {
    std::vector<Properties> blocks(1);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            blocks.emplace_back();
        } else if (const auto at = line.find('='); at != std::string::npos) {
            blocks.back()[line.substr(0, at)] = line.substr(at + 1);
        }
    }
    return blocks;
}

int numberOf(const std::string& text) {
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

void checkUnit(Properties& unit, Findings& findings) {
    const auto& name = unit["Id"];
    const auto look = "journalctl -u " + name;
    if (name.empty() || unit["LoadState"] == "not-found") {
        return;  // a package that is not installed, and need not be
    }
    if (unit["LoadState"] == "masked") {
        findings.push_back({Gravity::Warning, name + " is masked", "systemctl unmask " + name});
    } else if (unit["ActiveState"] == "failed") {
        findings.push_back({Gravity::Error, name + " has failed: " + unit["Result"],
                            look + ", then: systemctl start " + name});
    } else if (unit["ActiveState"] == "inactive") {
        findings.push_back({Gravity::Error, name + " does not run", "systemctl start " + name});
    } else if (unit["SubState"] == "auto-restart") {
        findings.push_back(
            {Gravity::Error, name + " ended and is started again: " + unit["Result"], look});
    } else if (const int restarts = numberOf(unit["NRestarts"]); restarts >= manyRestarts) {
        findings.push_back({Gravity::Warning,
                            name + " was started again " + std::to_string(restarts) + " times",
                            look});
    }
    if (unit["UnitFileState"] == "disabled") {
        findings.push_back({Gravity::Warning, name + " does not start with the machine",
                            "systemctl enable " + name});
    }
}

}  // namespace

Findings checkUnits(const Machine& machine) {
    std::vector<std::string> question = {
        "/usr/bin/systemctl", "show",
        "--property=Id,LoadState,ActiveState,SubState,Result,NRestarts,UnitFileState", "--"};
    question.insert(question.end(), std::begin(units), std::end(units));
    const auto answer = machine.run(question);
    if (!answer || answer->exitStatus != 0) {
        return {{Gravity::Unseen, "systemd does not say how its units are",
                 "on a machine without it, look at the programs' own logs"}};
    }
    Findings findings;
    for (auto& unit : blocksOf(answer->output)) {
        checkUnit(unit, findings);
    }
    return findings;
}

}  // namespace tarn::cli
