#include <sys/stat.h>

#include <system_error>

#include "cli/doctor/Checks.h"

namespace tarn::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds tolerance{60};

// A file that the server wrote, whose time has not come yet.
std::optional<std::string> fileFromTheFuture(const Machine& machine, const std::string& folder) {
    const auto now = std::chrono::system_clock::to_time_t(machine.now() + tolerance);
    std::error_code failure;
    for (fs::directory_iterator entry(machine.at(folder), failure), end; !failure && entry != end;
         entry.increment(failure)) {
        struct stat state {};
        if (::lstat(entry->path().c_str(), &state) == 0 && state.st_mtime > now) {
            return folder + "/" + entry->path().filename().string();
        }
    }
    return std::nullopt;
}

}  // namespace

Findings checkClock(const Machine& machine) {
    Findings findings;
    const auto synchronised = machine.clockIsSynchronised();
    if (!synchronised) {
        findings.push_back({Gravity::Unseen, "the kernel does not say whether the clock is right",
                            "run this as root"});
    } else if (!*synchronised) {
        findings.push_back({Gravity::Warning, "nothing keeps this machine's clock right",
                            "timedatectl set-ntp true, or install chrony or linuxptp"});
    }
    for (const auto folder : {"/var/log/halden-tarn", "/run/halden-tarn"}) {
        if (const auto file = fileFromTheFuture(machine, folder)) {
            findings.push_back({Gravity::Warning,
                                *file + " was written later than now: the clock was set back",
                                "see what sets it: journalctl -u chrony -u systemd-timesyncd"});
        }
    }
    return findings;
}

}  // namespace tarn::cli
