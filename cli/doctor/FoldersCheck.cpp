#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "cli/doctor/Accounts.h"
#include "cli/doctor/Checks.h"

namespace tarn::cli {

namespace {

/// What the programs keep, and whose it is.
struct Kept {
    std::string path;
    std::string owner;
    mode_t most;  // the rights that it may have
    std::string remedy;
};

std::vector<Kept> everythingKept(const Machine& machine) {
    return {{"/run/halden-tarn", "tarn", 0750, "systemctl restart halden-tarn"},
            {"/var/log/halden-tarn", "tarn", 0750, "systemctl restart halden-tarn"},
            {"/var/lib/halden-tarn", "tarn", 0750, "systemctl restart halden-tarn"},
            {machine.settings.persistentJobsFolder, "tarn", 0750, "systemd-tmpfiles --create"},
            {"/var/lib/halden-tarn-loop-storage", "tarn-store", 0750,
             "systemctl restart halden-tarn-loop-storage"},
            {machine.configurationFile, "root", 0644, "install the package halden-tarn-service"}};
}

std::string octal(mode_t mode) {
    std::string digits = "0";
    for (const unsigned shift : {6U, 3U, 0U}) {
        digits += static_cast<char>('0' + ((mode >> shift) & 7U));
    }
    return digits;
}

Finding notThere(const Kept& kept) {
    const int reason = errno;
    if (reason == EACCES) {
        return {Gravity::Unseen, kept.path + " cannot be looked at by this user",
                "run this as root"};
    }
    return {Gravity::Error, kept.path + ": " + std::generic_category().message(reason),
            kept.remedy};
}

void checkOwner(const Kept& kept, const struct stat& state, const Accounts& accounts,
                Findings& findings) {
    const auto owner = kept.owner == "root" ? std::optional<uid_t>(0) : accounts.user(kept.owner);
    if (owner && state.st_uid != *owner) {
        findings.push_back({Gravity::Error,
                            kept.path + " belongs to " + accounts.nameOf(state.st_uid) +
                                " instead of " + kept.owner,
                            "see who made it, then: chown " + kept.owner + ": " + kept.path});
    }
}

void checkMode(const Kept& kept, const struct stat& state, Findings& findings) {
    const mode_t mode = state.st_mode & 0777U;
    const mode_t beyond = mode & ~kept.most;
    if (beyond != 0) {
        findings.push_back({(beyond & 022U) != 0 ? Gravity::Error : Gravity::Warning,
                            kept.path + " has the mode " + octal(mode) + ", which is more than " +
                                octal(kept.most),
                            "chmod " + octal(kept.most) + " " + kept.path});
    }
}

void checkOne(const Kept& kept, const Machine& machine, const Accounts& accounts,
              Findings& findings) {
    struct stat state {};
    if (::lstat(machine.at(kept.path).c_str(), &state) != 0) {
        findings.push_back(notThere(kept));
        return;
    }
    if (S_ISLNK(state.st_mode)) {
        findings.push_back({Gravity::Error, kept.path + " is a symbolic link",
                            "see who made it, remove it, then: " + kept.remedy});
        return;
    }
    checkOwner(kept, state, accounts, findings);
    checkMode(kept, state, findings);
}

}  // namespace

Findings checkFolders(const Machine& machine) {
    const Accounts accounts(machine);
    Findings findings;
    for (const auto& kept : everythingKept(machine)) {
        if (!kept.path.empty()) {
            checkOne(kept, machine, accounts, findings);
        }
    }
    return findings;
}

}  // namespace tarn::cli
