#include <gmock/gmock.h>
#include <linux/bpf.h>
#include <linux/keyctl.h>
#include <linux/perf_event.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "tests/platform/cell/InCell.h"
#include "tests/support/ForkedProcess.h"

namespace tarn::cell {
namespace {

std::string inCell(const std::function<long()>& attempt, const Cell& cell = {}) {
    return tryInCell(cell, [&] { return outcomeOf(attempt()); }).said;
}

TEST(ProcessesInCellTest, NobodyElseIsSignalledOrAskedFor) {
    const test::ForkedProcess other;
    const pid_t id = other.id();
    EXPECT_EQ(inCell([&] { return ::kill(id, SIGTERM); }), "EPERM");
    EXPECT_EQ(inCell([&] { return ::kill(id, 0); }), "EPERM");
    EXPECT_EQ(inCell([&] { return ::kill(-id, SIGTERM); }), "EPERM");
    EXPECT_EQ(inCell([&] { return ::kill(-1, SIGTERM); }), "EPERM");
    EXPECT_EQ(inCell([&] { return ::syscall(SYS_tkill, id, SIGTERM); }), "EPERM");
    EXPECT_EQ(inCell([&] { return ::syscall(SYS_tgkill, id, id, SIGTERM); }), "EPERM");
    EXPECT_EQ(inCell([&] { return ::syscall(SYS_pidfd_open, id, 0); }), "EPERM");
    // The upper half of an argument, which the kernel does not look at, is no way around.
    EXPECT_EQ(inCell([&] { return ::syscall(SYS_kill, 0x100000000L + id, SIGTERM); }), "EPERM");
    EXPECT_TRUE(os::isAlive(other.identity()));
}

TEST(ProcessesInCellTest, ItSignalsItselfAndItsGroup) {
    EXPECT_EQ(inCell([] { return ::kill(::getpid(), 0); }), "done");
    EXPECT_EQ(inCell([] { return ::raise(0); }), "done");
    EXPECT_EQ(inCell([] { return ::kill(0, 0); }), "done");
}

TEST(ProcessesInCellTest, NobodyElsesLimitsAndPrioritiesAreChanged) {
    const test::ForkedProcess other;
    const auto id = static_cast<id_t>(other.id());
    EXPECT_EQ(inCell([&] {
                  const rlimit none{};
                  return ::prlimit(other.id(), RLIMIT_NOFILE, &none, nullptr);
              }),
              "EPERM");
    EXPECT_EQ(inCell([&] { return ::setpriority(PRIO_PROCESS, id, 19); }), "EPERM");
    EXPECT_EQ(inCell([&] {
                  const sched_param idle{};
                  return ::sched_setscheduler(other.id(), SCHED_IDLE, &idle);
              }),
              "EPERM");
    EXPECT_EQ(inCell([] { return ::setpriority(PRIO_PROCESS, 0, 19); }), "done");
}

TEST(ProcessesInCellTest, NothingLeavesTheGroupThatIsKilledAtTheEnd) {
    EXPECT_EQ(inCell([] { return ::setsid(); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::setpgid(0, 0); }), "EPERM");
}

#ifndef TARN_SANITIZED
TEST(ProcessesInCellTest, NobodyIsTraced) {
    const test::ForkedProcess other;
    EXPECT_EQ(inCell([&] { return ::ptrace(PTRACE_ATTACH, other.id(), nullptr, nullptr); }),
              "EPERM");
    EXPECT_EQ(inCell([] { return ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr); }), "EPERM");
}
#endif

TEST(ProcessesInCellTest, NobodysMemoryIsRead) {
    const test::ForkedProcess other;
    EXPECT_EQ(inCell([&] {
                  return ::syscall(SYS_process_vm_readv, other.id(), nullptr, 0, nullptr, 0, 0);
              }),
              "EPERM");
}

TEST(ProcessesInCellTest, TheMachineIsNotChanged) {
    EXPECT_EQ(inCell([] { return ::mount("none", "/tmp", "tmpfs", 0, nullptr); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::syscall(SYS_init_module, nullptr, 0, ""); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::syscall(SYS_kexec_load, 0, 0, nullptr, 0); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::chroot("/tmp"); }), "EPERM");
}

TEST(ProcessesInCellTest, ThereIsNoNamespaceOfItsOwn) {
    EXPECT_EQ(inCell([] { return ::unshare(CLONE_NEWUSER); }), "EPERM");
    EXPECT_EQ(inCell([] {
                  return ::syscall(SYS_clone, CLONE_NEWUSER | SIGCHLD, nullptr, nullptr, nullptr,
                                   nullptr);
              }),
              "EPERM");
    EXPECT_EQ(inCell([] { return ::syscall(SYS_clone3, nullptr, 0); }), "ENOSYS");
}

TEST(ProcessesInCellTest, RarePartsOfTheKernelAreOutOfReach) {
    EXPECT_EQ(inCell([] { return ::syscall(SYS_bpf, BPF_PROG_LOAD, nullptr, 0); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::syscall(SYS_keyctl, KEYCTL_GET_KEYRING_ID, 0, 0, 0, 0); }),
              "EPERM");
    EXPECT_EQ(inCell([] { return ::syscall(SYS_perf_event_open, nullptr, 0, 0, 0, 0); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::syscall(SYS_io_uring_setup, 1, nullptr); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::syscall(SYS_userfaultfd, 0); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::socket(AF_ALG, SOCK_SEQPACKET, 0); }), "EPERM");
    EXPECT_EQ(inCell([] { return ::socket(AF_VSOCK, SOCK_STREAM, 0); }), "EPERM");
}

TEST(ProcessesInCellTest, NetworkIsThereAndUnixSocketsWhereTheyAreAllowed) {
    const Cell without{.localSockets = LocalSockets::Refused};
    EXPECT_EQ(inCell([] { return ::socket(AF_INET, SOCK_DGRAM, 0); }, without), "done");
    EXPECT_EQ(inCell([] { return ::socket(AF_UNIX, SOCK_STREAM, 0); }, without), "EPERM");
    int pair[2];
    EXPECT_EQ(inCell([&] { return ::socketpair(AF_UNIX, SOCK_STREAM, 0, pair); }, without), "done");
    EXPECT_EQ(
        inCell([&] { return ::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair); }, without),
        "EPERM");
    EXPECT_EQ(inCell([] { return ::socket(AF_UNIX, SOCK_STREAM, 0); }), "done");
}

TEST(ProcessesInCellTest, ThreadsAndProgramsStartAndAreInItToo) {
    const auto tried = tryInCell({}, [] {
        std::string ofThread;
        std::thread([&] { ofThread = outcomeOf(::unshare(CLONE_NEWUSER)); }).join();
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(::unshare(CLONE_NEWUSER) == 0 ? 0 : 7);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return ofThread + " " + std::to_string(WEXITSTATUS(status));
    });
    EXPECT_EQ(tried.said, "EPERM 7");
}

}  // namespace
}  // namespace tarn::cell
