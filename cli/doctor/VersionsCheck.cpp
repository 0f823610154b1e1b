#include <string_view>

#include "cli/doctor/Checks.h"
#include "cli/doctor/Processes.h"

namespace tarn::cli {

namespace {

constexpr std::string_view installedIn = "/opt/halden/";
constexpr std::string_view replaced = " (deleted)";  // as the kernel says it of a file

std::string remedyFor(const std::string& name) {
    if (name == "TarnService") {
        return "systemctl kill --kill-who=main --signal=SIGKILL halden-tarn (jobs go on)";
    }
    if (name == "tarnGateway" || name == "tarnHostMonitor") {
        return name == "tarnGateway" ? "systemctl restart halden-tarn-gateway"
                                     : "systemctl restart halden-tarn-host-monitor";
    }
    if (name == "tarnLoopStorage") {
        return "systemctl restart halden-tarn-loop-storage, which ends who reads or writes tracks";
    }
    return "nothing now: it goes with its job, and the next one is new";
}

}  // namespace

Findings checkVersions(const Machine& machine) {
    Findings findings;
    std::size_t unseen = 0;
    for (const auto& process : serverProcesses(machine)) {
        const std::string_view executable = process.executable;
        if (executable.empty()) {
            ++unseen;
        } else if (executable.starts_with(installedIn) && executable.ends_with(replaced)) {
            findings.push_back({Gravity::Warning,
                                process.name + " (process " + std::to_string(process.id) +
                                    ") is of a version that is not installed any more",
                                remedyFor(process.name)});
        }
    }
    if (unseen > 0) {
        findings.push_back(
            {Gravity::Unseen,
             "of " + std::to_string(unseen) + " processes this user may not see the program",
             "run this as root"});
    }
    return findings;
}

}  // namespace tarn::cli
