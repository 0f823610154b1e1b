#include "cli/doctor/Accounts.h"
#include "cli/doctor/Checks.h"

namespace tarn::cli {

namespace {

constexpr auto makeThem = "install the package, or run: systemd-sysusers";

// Who gives sockets to who may look has to be one of them.
constexpr const char* givers[] = {"tarn", "tarn-store"};

}  // namespace

Findings checkUsers(const Machine& machine) {
    const Accounts accounts(machine);
    Findings findings;
    for (const std::string user : {"tarn", "tarn-store", "tarn-job"}) {
        if (!accounts.user(user)) {
            findings.push_back({Gravity::Error, "there is no user " + user, makeThem});
        }
    }
    for (const std::string group : {"tarn-read", "tarn-operate", "tarn-admin"}) {
        if (!accounts.hasGroup(group)) {
            findings.push_back({Gravity::Error, "there is no group " + group, makeThem});
        }
    }
    for (const std::string user : givers) {
        if (accounts.user(user) && accounts.hasGroup("tarn-read") &&
            !accounts.isMember(user, "tarn-read")) {
            findings.push_back(
                {Gravity::Error,
                 "user " + user + " is not in the group tarn-read, and cannot let it in",
                 "usermod -aG tarn-read " + user + ", and restart its units"});
        }
    }
    return findings;
}

}  // namespace tarn::cli
