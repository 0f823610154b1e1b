#include <filesystem>

#include "cli/doctor/Checks.h"
#include "platform/os/SmallFile.h"

namespace tarn::cli {

namespace {

bool hasSeccomp(const Machine& machine) {
    const auto path = machine.at("/proc/sys/kernel/seccomp/actions_avail").string();
    return os::readBeginning(path, 4096).value_or("").find("errno") != std::string::npos;
}

}  // namespace

Findings checkKernel(const Machine& machine) {
    Findings findings;
    if (machine.landlockVersion() == 0) {
        findings.push_back({Gravity::Warning,
                            "the kernel has no Landlock: jobs can read what their user can",
                            "boot a kernel of Debian 12 or later with lsm=landlock,..."});
    }
    if (!hasSeccomp(machine)) {
        findings.push_back({Gravity::Warning, "the kernel does not filter system calls of jobs",
                            "boot a kernel with CONFIG_SECCOMP_FILTER"});
    }
    std::error_code failure;
    if (!std::filesystem::exists(machine.at("/sys/fs/cgroup/cgroup.controllers"), failure)) {
        findings.push_back(
            {Gravity::Warning,
             "there are no unified control groups: jobs have limits of their processes only",
             "boot with systemd.unified_cgroup_hierarchy=1"});
    }
    return findings;
}

}  // namespace tarn::cli
