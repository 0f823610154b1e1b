#include "cli/doctor/Machine.h"

#include <linux/landlock.h>
#include <sys/mman.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/timex.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>

#include "platform/os/FileDescriptor.h"
#include "platform/os/SmallFile.h"
#include "platform/os/Subprocess.h"
#include "service/configuration/ConfigurationHandler.h"

namespace tarn::cli {

namespace {

constexpr std::chrono::seconds patience{10};
constexpr std::size_t mostOutput = std::size_t{1} << 20U;

std::optional<ProgramEnd> runProgram(const std::vector<std::string>& arguments) {
    try {
        const os::FileDescriptor output(::memfd_create("output", MFD_CLOEXEC));
        os::Subprocess program({.arguments = arguments, .output = output.get()});
        const auto status = program.waitForEnd(patience);
        if (!status) {
            return std::nullopt;
        }
        const auto text =
            os::readBeginning("/proc/self/fd/" + std::to_string(output.get()), mostOutput);
        return ProgramEnd{WIFEXITED(*status) ? WEXITSTATUS(*status) : -1, text.value_or("")};
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<Space> spaceAt(const std::filesystem::path& folder) {
    struct statvfs state {};
    if (::statvfs(folder.c_str(), &state) != 0) {
        return std::nullopt;
    }
    return Space{.available = std::uint64_t{state.f_bavail} * state.f_frsize,
                 .total = std::uint64_t{state.f_blocks} * state.f_frsize,
                 .freeFiles = state.f_favail,
                 .allFiles = state.f_files};
}

std::optional<bool> isSynchronised() {
    timex state{};
    return ::adjtimex(&state) < 0
               ? std::nullopt
               : std::optional((static_cast<unsigned>(state.status) & STA_UNSYNC) == 0);
}

int askForLandlock() {
    const auto version = ::syscall(SYS_landlock_create_ruleset, nullptr, std::size_t{0},
                                   LANDLOCK_CREATE_RULESET_VERSION);
    return version > 0 ? static_cast<int>(version) : 0;
}

// What is wrong with the file is found by a check of its own. Its plug-ins are not loaded here.
void readSettings(Machine& machine) {
    service::configuration::ConfigurationHandler handler([](const char*) { return 0; });
    std::string ignored;
    try {
        if (!handler.readConfigurationFile(machine.configurationFile, ignored)) {
            return;
        }
    } catch (const std::exception&) {
        return;
    }
    auto& settings = machine.settings;
    settings.requestsEndpoint = handler.getRequestsEndpoint();
    settings.eventsEndpoint = handler.getEventsEndpoint();
    settings.resourcesEndpoint = handler.getResourcesEndpoint();
    settings.persistentJobsFolder = handler.getPersistentJobsFolder();
    settings.plugins = handler.getPlugins();
}

}  // namespace

Machine thisMachine(const std::string& configurationFile) {
    Machine machine;
    machine.configurationFile = configurationFile;
    machine.asRoot = ::geteuid() == 0;
    machine.run = runProgram;
    machine.space = spaceAt;
    machine.now = std::chrono::system_clock::now;
    machine.clockIsSynchronised = isSynchronised;
    machine.landlockVersion = askForLandlock;
    readSettings(machine);
    return machine;
}

}  // namespace tarn::cli
