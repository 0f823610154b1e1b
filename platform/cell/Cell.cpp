#include "platform/cell/Cell.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "platform/cell/kernel/LandlockKernel.h"
#include "platform/cell/kernel/Privileges.h"
#include "platform/cell/kernel/ProcessFilter.h"
#include "platform/cell/kernel/SystemCallFilter.h"
#include "platform/cell/rules/FolderRules.h"

namespace tarn::cell {

namespace {

std::string lastError() {
    return std::generic_category().message(errno);
}

/// One cell as it is built, step by step: each is told as built, missing or worth a line.
class Building {
  public:
    explicit Building(const Cell& cell) : cell(cell) {}

    CellReport build() {
        countThreads();
        changeUser();
        setLimits();
        giveUpPrivileges();
        closeFolders();
        filterSystemCalls();
        return std::move(report);
    }

  private:
    void built(const std::string& what) {
        report.built += (report.built.empty() ? "" : ", ") + what;
    }
    void missing(const std::string& what) { report.missing.push_back(what); }
    void note(const std::string& what) { report.notes.push_back(what); }

    // The rules hold for the thread that makes them and for what it starts afterwards.
    void countThreads() {
#ifndef TARN_SANITIZED  // whose runtime has a thread of its own
        std::error_code ignored;
        const std::filesystem::directory_iterator threads("/proc/self/task", ignored);
        const auto count = std::distance(begin(threads), end(threads));
        if (count > 1) {
            missing("it has " + std::to_string(count) +
                    " threads already: a plug-in has started them, and no rule holds for them");
        }
#endif
    }

    void changeUser() {
        limitCapabilities();
        const auto account = cell.user.empty() ? std::nullopt : accountOf(cell.user);
        if (account && account->user != ::geteuid() && become(*account)) {
            hasUserOfItsOwn = true;
            return built("user " + cell.user);
        }
        const auto why = cell.user.empty() ? "no other is configured"
                         : !account        ? "there is no user " + cell.user
                                           : "it may not become " + cell.user;
        if (!account || account->user != ::geteuid()) {
            note("it goes on as user " + std::to_string(::geteuid()) +
                 ", as who started it: " + why);
        }
    }

    void limit(int resource, std::uint64_t most, const char* name) {
        rlimit now{};
        if (most == 0 || ::getrlimit(static_cast<__rlimit_resource>(resource), &now) != 0) {
            return;
        }
        const auto bound = std::min<rlim_t>(most, now.rlim_max);
        const rlimit lowered = {.rlim_cur = std::min(bound, now.rlim_cur), .rlim_max = bound};
        if (::setrlimit(static_cast<__rlimit_resource>(resource), &lowered) != 0) {
            missing(std::string("no limit of ") + name + ": " + lastError());
        }
    }

    void setLimits() {
        const rlimit none{};
        ::setrlimit(RLIMIT_CORE, &none);
#ifndef TARN_SANITIZED  // whose shadow is memory like any other
        limit(RLIMIT_DATA, cell.limits.memoryBytes, "memory");
#endif
        limit(RLIMIT_NOFILE, cell.limits.descriptors, "descriptors");
        if (hasUserOfItsOwn) {
            limit(RLIMIT_NPROC, cell.limits.processes, "processes");
        } else if (cell.limits.processes > 0) {
            note("no limit of processes: it would count all that its user runs");
        }
    }

    void giveUpPrivileges() {
        if (!giveUpNewPrivileges()) {
            missing("new privileges: " + lastError());
        }
        if (!dropCapabilities()) {
            return missing("capabilities are kept: " + lastError());
        }
        built("no capabilities");
    }

    void closeFolders() {
        const int version = kernel::landlockVersion();
        if (version == 0) {
            return missing("files: this kernel has no Landlock, or it is switched off");
        }
        try {
            Ruleset rules(version);
            allowFolders(rules);
            rules.enforce();
            built("Landlock " + std::to_string(version));
        } catch (const std::exception& e) {
            return missing(std::string("files: ") + e.what());
        }
        if (version < kernel::versionWithTruncate) {
            note("files that it may read can be emptied: Landlock " + std::to_string(version) +
                 " does not look at that");
        }
        if (version < 6) {
            note("abstract sockets of others can be reached: Landlock " + std::to_string(version) +
                 " knows none");
        }
        if (cell.folders == Folders::AllButTheServices) {
            note(
                "every folder of its user can be reached, but for the service's own: "
                "the configuration names none for jobs");
        }
    }

    void allowFolders(Ruleset& rules) {
        for (const auto& rule : folderRules(cell)) {
            if (!rules.allow(rule.path, rule.access) && rule.mustBeThere) {
                note("folder " + rule.path + " cannot be used: " + lastError());
            }
        }
    }

    void filterSystemCalls() {
        const auto localSockets = hasUserOfItsOwn ? LocalSockets::Allowed : cell.localSockets;
        try {
            refuseSystemCalls(localSockets);
            refuseReachingOthers();
            built("system calls and signals filtered");
        } catch (const std::exception& e) {
            return missing(std::string("system calls: ") + e.what());
        }
        if (!hasUserOfItsOwn && localSockets == LocalSockets::Allowed) {
            note("it may open Unix sockets, those of its own user among them");
        }
    }

    const Cell& cell;
    CellReport report;
    bool hasUserOfItsOwn = false;
};

}  // namespace

CellReport enter(const Cell& cell) {
    return Building(cell).build();
}

}  // namespace tarn::cell
