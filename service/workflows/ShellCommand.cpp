#include "service/workflows/ShellCommand.h"

#include <stdexcept>

#include "platform/os/ProcessDefaults.h"
#include "platform/os/Subprocess.h"

namespace tarn::service {

namespace {

constexpr std::chrono::seconds shellBound{10};

// What a shell starts in the background begins at once: nothing that is done from here would be
// sure to come before it.
std::string withInheritedDescriptorLimit(const std::string& command) {
    const auto limit = os::inheritedDescriptorLimit();
    return "ulimit -S -n " + (limit == RLIM_INFINITY ? "unlimited" : std::to_string(limit)) + "\n" +
           command;
}

}  // namespace

void runShellCommand(const std::string& command) {
    runShellCommandWithin(shellBound, command);
}

void runShellCommandWithin(std::chrono::milliseconds bound, const std::string& command) {
    os::Subprocess shell({.arguments = {"/bin/sh", "-c", withInheritedDescriptorLimit(command)},
                          .group = os::Subprocess::Group::Shared});
    if (!shell.waitForEnd(bound)) {
        throw std::runtime_error("the shell did not end within " + std::to_string(bound.count()) +
                                 " ms and was killed");
    }
}

}  // namespace tarn::service
