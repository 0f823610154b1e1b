#include "cli/doctor/Checks.h"
#include "platform/media_framework/trial/PluginTrial.h"

namespace tarn::cli {

namespace {

constexpr auto trialProgram = "/opt/halden/halden-tarn-service/bin/tarnPluginTrial";

std::optional<Finding> tried(const Machine& machine, const std::string& plugin) {
    const auto end = machine.run({machine.at(trialProgram).string(), plugin});
    if (!end) {
        return Finding{
            Gravity::Unseen,
            plugin + " cannot be tried: " + trialProgram + " does not run or does not end",
            "install the package halden-tarn-service"};
    }
    if (end->exitStatus == media_framework::PluginTrial::survived) {
        return std::nullopt;
    }
    return Finding{Gravity::Error,
                   plugin + " ends the process that loads it, so the service leaves it out",
                   "install a plug-in that suits this machine, or take it out of " +
                       machine.configurationFile};
}

}  // namespace

Findings checkPlugins(const Machine& machine) {
    Findings findings;
    for (const auto& plugin : machine.settings.plugins) {
        if (auto finding = tried(machine, plugin)) {
            findings.push_back(std::move(*finding));
        }
    }
    return findings;
}

}  // namespace tarn::cli
