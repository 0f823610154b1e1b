#include "cli/doctor/Checks.h"

namespace tarn::cli {

namespace {

constexpr std::uint64_t littlePercent = 10;
constexpr std::uint64_t almostNonePercent = 2;

struct Use {
    std::string folder;
    const char* remedy;
};

std::uint64_t percentLeft(std::uint64_t left, std::uint64_t all) {
    return all == 0 ? 100 : left * 100 / all;
}

void checkShare(const Use& use, std::uint64_t percent, const std::string& of, Findings& findings) {
    if (percent < littlePercent) {
        findings.push_back(
            {percent < almostNonePercent ? Gravity::Error : Gravity::Warning,
             use.folder + " has " + std::to_string(percent) + " % of its " + of + " left",
             use.remedy});
    }
}

}  // namespace

Findings checkSpace(const Machine& machine) {
    const Use uses[] = {
        {"/var/log/halden-tarn", "remove old logs of jobs there"},
        {machine.settings.persistentJobsFolder,
         "make room: persistent jobs cannot be kept otherwise"},
        {"/var/lib/halden-tarn-loop-storage", "tarnctl storage tracks; destroy or resize some"},
        {"/run", "see what fills it: du -x /run"},
        {"/tmp", "see what fills it: du -x /tmp"},
        {"/dev/shm", "see what fills it: captured frames are handed over there"},
    };
    Findings findings;
    for (const auto& use : uses) {
        if (const auto space = machine.space(machine.at(use.folder))) {
            checkShare(use, percentLeft(space->available, space->total), "space", findings);
            checkShare(use, percentLeft(space->freeFiles, space->allFiles), "files", findings);
        }
    }
    return findings;
}

}  // namespace tarn::cli
