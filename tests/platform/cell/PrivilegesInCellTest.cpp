#include <gmock/gmock.h>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <memory>
#include <new>

#include "platform/cell/kernel/Privileges.h"
#include "tests/platform/cell/InCell.h"

namespace tarn::cell {
namespace {

using testing::Contains;
using testing::HasSubstr;

// A line of the process's own status, without its name and blanks.
std::string status(const std::string& name) {
    std::ifstream lines("/proc/self/status");
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + ":\t")) {
            return line.substr(name.size() + 2);
        }
    }
    return "?";
}

std::string statusInCell(const std::string& name) {
    return tryInCell({}, [&] { return status(name); }).said;
}

TEST(PrivilegesInCellTest, NoCapabilityIsLeftAndNoneComesBack) {
    for (const auto* const set : {"CapInh", "CapPrm", "CapEff", "CapAmb"}) {
        EXPECT_EQ(statusInCell(set), "0000000000000000") << set;
    }
    EXPECT_EQ(statusInCell("NoNewPrivs"), "1");
    // The C library's function would ask the other threads along, of which a sanitizer has one.
    const auto tried = tryInCell({}, [] { return outcomeOf(::syscall(SYS_setuid, 1)); });
    EXPECT_EQ(tried.said, "EPERM");
}

TEST(PrivilegesInCellTest, ItLeavesNoImageOfItsMemory) {
    const auto tried = tryInCell({}, [] {
        rlimit limit{};
        ::getrlimit(RLIMIT_CORE, &limit);
        return std::to_string(limit.rlim_max);
    });
    EXPECT_EQ(tried.said, "0");
}

TEST(PrivilegesInCellTest, LimitsHoldAndCannotBeRaised) {
    const Cell cell{.limits = {.descriptors = 40}};
    const auto tried = tryInCell(cell, [] {
        const rlimit more = {.rlim_cur = 41, .rlim_max = 41};
        const auto raised = outcomeOf(::setrlimit(RLIMIT_NOFILE, &more));
        return raised + " " + outcomeOf(::dup2(0, 39)) + " " + outcomeOf(::dup2(0, 40));
    });
    EXPECT_EQ(tried.said, "EPERM done EBADF");
}

#ifndef TARN_SANITIZED
TEST(PrivilegesInCellTest, MemoryBeyondTheLimitIsRefused) {
    const Cell cell{.limits = {.memoryBytes = 64 << 20}};
    const auto tried = tryInCell(cell, [] {
        const bool little = std::unique_ptr<char[]>(new (std::nothrow) char[1 << 20]) != nullptr;
        const bool much = std::unique_ptr<char[]>(new (std::nothrow) char[256 << 20]) != nullptr;
        return std::to_string(little) + std::to_string(much);
    });
    EXPECT_EQ(tried.said, "10");
}
#endif

TEST(PrivilegesInCellTest, ItBecomesTheUserWithHisGroupsAlone) {
    if (::geteuid() != 0 || !accountOf("nobody")) {
        GTEST_SKIP() << "only root becomes somebody else";
    }
    const auto nobody = *accountOf("nobody");
    const auto tried = tryInCell({.user = "nobody"}, [] {
        std::array<gid_t, 64> groups{};
        return std::to_string(::geteuid()) + " " + std::to_string(::getegid()) + " " +
               std::to_string(::getgroups(static_cast<int>(groups.size()), groups.data())) + " " +
               outcomeOf(::setuid(0)) + " " + status("CapPrm");
    });
    if (tried.report.built.find("nobody") == std::string::npos) {
        GTEST_SKIP() << "this namespace has one user";
    }
    EXPECT_EQ(tried.said, std::to_string(nobody.user) + " " + std::to_string(nobody.group) + " " +
                              std::to_string(nobody.groups.size()) + " EPERM 0000000000000000");
}

TEST(PrivilegesInCellTest, ALimitOfProcessesIsForAUserOfItsOwn) {
    const auto tried = tryInCell({.limits = {.processes = 5}}, [] { return std::string(); });
    EXPECT_THAT(tried.report.notes, Contains(HasSubstr("no limit of processes")));
}

TEST(PrivilegesInCellTest, AUserThatIsNotThereIsTold) {
    const auto tried = tryInCell({.user = "no-such-user"}, [] { return std::string("goes on"); });
    EXPECT_THAT(tried.report.notes, Contains(HasSubstr("there is no user no-such-user")));
    EXPECT_EQ(tried.said, "goes on");
}

}  // namespace
}  // namespace tarn::cell
