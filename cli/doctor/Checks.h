#pragma once

#include "cli/doctor/Finding.h"
#include "cli/doctor/Machine.h"

namespace tarn::cli {

/// Looks at one side of the machine. Changes nothing, and does not throw for what it meets.
using Check = Findings(const Machine& machine);

Check checkUsers, checkFolders, checkConfiguration, checkPlugins, checkSockets, checkUnits;
Check checkCertificates, checkVersions, checkLimits, checkSpace, checkClock, checkFirewall,
    checkKernel;

/// All of them, in the order in which they are shown: what others follow from first.
struct NamedCheck {
    const char* name;
    Check* look;
};
inline constexpr NamedCheck doctorsChecks[] = {
    {"users", checkUsers},
    {"folders", checkFolders},
    {"configuration", checkConfiguration},
    {"plug-ins", checkPlugins},
    {"units", checkUnits},
    {"sockets", checkSockets},
    {"certificates", checkCertificates},
    {"versions", checkVersions},
    {"limits", checkLimits},
    {"space", checkSpace},
    {"clock", checkClock},
    {"firewall", checkFirewall},
    {"kernel", checkKernel},
};

}  // namespace tarn::cli
