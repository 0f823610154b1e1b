#include <charconv>
#include <iterator>
#include <sstream>
#include <system_error>

#include "cli/doctor/Checks.h"
#include "cli/doctor/Processes.h"
#include "platform/os/SmallFile.h"

namespace tarn::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t enough = 4096;
constexpr std::uint64_t nearlyAll = 80;  // percent
constexpr std::string_view limitsName = "Max open files";

// Its line is "Max open files", then the limit that is in force and the highest one.
std::optional<std::uint64_t> descriptorsOf(const fs::path& process) {
    std::istringstream lines(os::readBeginning((process / "limits").string(), 8192).value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(limitsName)) {
            std::istringstream words(line.substr(limitsName.size()));
            std::uint64_t inForce = 0;
            return words >> inForce ? std::optional(inForce) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<std::uint64_t> openDescriptors(const fs::path& process) {
    std::error_code failure;
    const fs::directory_iterator open(process / "fd", failure);
    return failure ? std::nullopt
                   : std::optional(static_cast<std::uint64_t>(
                         std::distance(fs::begin(open), fs::directory_iterator())));
}

bool hasClients(const std::string& name) {
    return name == "TarnService" || name == "tarnGateway" || name == "tarnLoopStorage";
}

void checkProcess(const ServerProcess& process, const Machine& machine, Findings& findings) {
    const auto folder = machine.at("/proc/" + std::to_string(process.id));
    const auto most = descriptorsOf(folder);
    const auto who = process.name + " (process " + std::to_string(process.id) + ")";
    if (most && *most < enough) {
        findings.push_back({Gravity::Warning,
                            who + " may have " + std::to_string(*most) +
                                " descriptors only, and each client is one",
                            "set LimitNOFILE=65536 in its unit: systemctl edit"});
    }
    if (const auto open = openDescriptors(folder);
        most && open && *open * 100 > *most * nearlyAll) {
        findings.push_back({Gravity::Error,
                            who + " has " + std::to_string(*open) + " of " + std::to_string(*most) +
                                " descriptors open",
                            "see who is connected: ss -xp, ss -tp; raise LimitNOFILE in its unit"});
    }
}

}  // namespace

Findings checkLimits(const Machine& machine) {
    Findings findings;
    for (const auto& process : serverProcesses(machine)) {
        if (hasClients(process.name)) {
            checkProcess(process, machine, findings);
        }
    }
    return findings;
}

}  // namespace tarn::cli
