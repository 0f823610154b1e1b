#include "platform/cell/kernel/SystemCallFilter.h"

#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>
#include <memory>
#include <system_error>
#include <type_traits>

#include "platform/cell/kernel/LandlockKernel.h"

namespace tarn::cell {

namespace {

constexpr std::uint32_t refusal = SCMP_ACT_ERRNO(EPERM);
constexpr std::uint64_t socketTypes = 0xF;  // the other bits are flags

class Filter {
  public:
    Filter() : context(::seccomp_init(SCMP_ACT_ALLOW)) {
        if (!context) {
            throw std::system_error(ENOMEM, std::generic_category(), "seccomp_init");
        }
        // Sorted, so that a call costs a few comparisons and not one for each rule.
        check(::seccomp_attr_set(context.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2));
    }

    void refuse(int call) { add(refusal, call, {}); }
    void refuse(int call, std::initializer_list<scmp_arg_cmp> where) { add(refusal, call, where); }
    void add(std::uint32_t action, int call, std::initializer_list<scmp_arg_cmp> where) {
        check(::seccomp_rule_add_array(context.get(), action, call,
                                       static_cast<unsigned>(where.size()), where.begin()));
    }
    void load() { check(::seccomp_load(context.get())); }

  private:
    struct Release {
        void operator()(void* filter) const { ::seccomp_release(filter); }
    };

    static void check(int result) {
        if (result < 0) {
            throw std::system_error(-result, std::generic_category(), "seccomp");
        }
    }

    std::unique_ptr<std::remove_pointer_t<scmp_filter_ctx>, Release> context;
};

// The kernel looks at the lower half of an argument that is an int; the other half may hold
// anything.
scmp_arg_cmp isInt(unsigned argument, std::uint32_t value) {
    return {argument, SCMP_CMP_MASKED_EQ, 0xFFFFFFFFU, value};
}
scmp_arg_cmp hasBit(unsigned argument, std::uint64_t bit) {
    return {argument, SCMP_CMP_MASKED_EQ, bit, bit};
}

void refuseLookingIntoOthers(Filter& filter) {
#ifndef TARN_SANITIZED  // the search for leaks at a process's end traces its threads
    filter.refuse(SCMP_SYS(ptrace));
#endif
    for (const int call :
         {SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev), SCMP_SYS(process_madvise),
          SCMP_SYS(process_mrelease), SCMP_SYS(kcmp), SCMP_SYS(pidfd_open), SCMP_SYS(pidfd_getfd),
          SCMP_SYS(pidfd_send_signal), SCMP_SYS(perf_event_open), SCMP_SYS(move_pages),
          SCMP_SYS(migrate_pages)}) {
        filter.refuse(call);
    }
}

void refuseChangingTheMachine(Filter& filter) {
    for (const int call :
         {SCMP_SYS(mount),         SCMP_SYS(umount2),       SCMP_SYS(pivot_root),
          SCMP_SYS(chroot),        SCMP_SYS(open_tree),     SCMP_SYS(move_mount),
          SCMP_SYS(fsopen),        SCMP_SYS(fsconfig),      SCMP_SYS(fsmount),
          SCMP_SYS(fspick),        SCMP_SYS(mount_setattr), SCMP_SYS(swapon),
          SCMP_SYS(swapoff),       SCMP_SYS(init_module),   SCMP_SYS(finit_module),
          SCMP_SYS(delete_module), SCMP_SYS(kexec_load),    SCMP_SYS(kexec_file_load),
          SCMP_SYS(reboot),        SCMP_SYS(iopl),          SCMP_SYS(ioperm),
          SCMP_SYS(acct),          SCMP_SYS(quotactl),      SCMP_SYS(quotactl_fd),
          SCMP_SYS(syslog),        SCMP_SYS(settimeofday),  SCMP_SYS(clock_settime),
          SCMP_SYS(clock_adjtime), SCMP_SYS(adjtimex),      SCMP_SYS(sethostname),
          SCMP_SYS(setdomainname), SCMP_SYS(vhangup)}) {
        filter.refuse(call);
    }
}

void refuseRarePartsOfTheKernel(Filter& filter) {
    for (const int call :
         {SCMP_SYS(bpf), SCMP_SYS(userfaultfd), SCMP_SYS(io_uring_setup), SCMP_SYS(io_uring_enter),
          SCMP_SYS(io_uring_register), SCMP_SYS(keyctl), SCMP_SYS(add_key), SCMP_SYS(request_key),
          SCMP_SYS(name_to_handle_at), SCMP_SYS(open_by_handle_at), SCMP_SYS(fanotify_init),
          SCMP_SYS(lookup_dcookie), SCMP_SYS(modify_ldt)}) {
        filter.refuse(call);
    }
    // What a terminal is told to have been typed.
    filter.refuse(SCMP_SYS(ioctl), {isInt(1, TIOCSTI)});
    filter.refuse(SCMP_SYS(ioctl), {isInt(1, TIOCLINUX)});
}

// What Landlock does not look at. Nothing of a pipeline changes modes, and who asks whether it may
// watch a folder is told of every name in it.
void refuseChangingFilesFromOutside(Filter& filter, int landlockVersion) {
    for (const int call :
         {SCMP_SYS(chmod), SCMP_SYS(fchmod), SCMP_SYS(fchmodat), SCMP_SYS(chown), SCMP_SYS(fchown),
          SCMP_SYS(lchown), SCMP_SYS(fchownat), SCMP_SYS(setxattr), SCMP_SYS(lsetxattr),
          SCMP_SYS(fsetxattr), SCMP_SYS(removexattr), SCMP_SYS(lremovexattr),
          SCMP_SYS(fremovexattr), SCMP_SYS(inotify_add_watch)}) {
        filter.refuse(call);
    }
    if (landlockVersion < kernel::versionWithTruncate) {
        filter.refuse(SCMP_SYS(truncate));
    }
}

// A group of its own would outlive the job: what is left of the group is killed at its end.
void refuseLeavingTheGroup(Filter& filter) {
    filter.refuse(SCMP_SYS(setsid));
    filter.refuse(SCMP_SYS(setpgid));
}

// Priorities of others, whom the second argument names.
void refusePrioritiesOfOthers(Filter& filter) {
    filter.refuse(SCMP_SYS(setpriority), {{1, SCMP_CMP_NE, 0, 0}});
    filter.refuse(SCMP_SYS(ioprio_set), {{1, SCMP_CMP_NE, 0, 0}});
}

// A namespace of its own would bring back capabilities, and mounts with them.
void refuseNamespaces(Filter& filter) {
    filter.refuse(SCMP_SYS(unshare));
    filter.refuse(SCMP_SYS(setns));
    for (const std::uint64_t flag : {CLONE_NEWUSER, CLONE_NEWNS, CLONE_NEWPID, CLONE_NEWNET,
                                     CLONE_NEWIPC, CLONE_NEWUTS, CLONE_NEWCGROUP}) {
        filter.refuse(SCMP_SYS(clone), {hasBit(0, flag)});
    }
    // Its flags are in memory, where no filter sees them. The C library takes the older call then.
    filter.add(SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), {});
}

// The families that media travel by; the others are rarely looked at, and often mended.
void refuseSockets(Filter& filter, LocalSockets localSockets) {
    for (std::uint32_t family = AF_UNSPEC; family < AF_NETLINK; ++family) {
        const bool known = family == AF_UNIX || family == AF_INET || family == AF_INET6;
        if (!known || (family == AF_UNIX && localSockets == LocalSockets::Refused)) {
            filter.refuse(SCMP_SYS(socket), {isInt(0, family)});
        }
    }
    filter.refuse(SCMP_SYS(socket), {{0, SCMP_CMP_GT, AF_NETLINK, 0}});
    // One of a pair without connections can be connected to somebody else afterwards.
    if (localSockets == LocalSockets::Refused) {
        filter.refuse(SCMP_SYS(socketpair), {{1, SCMP_CMP_MASKED_EQ, socketTypes, SOCK_DGRAM}});
    }
}

}  // namespace

void refuseSystemCalls(LocalSockets localSockets) {
    Filter filter;
    refuseLookingIntoOthers(filter);
    refuseChangingTheMachine(filter);
    refuseRarePartsOfTheKernel(filter);
    refuseNamespaces(filter);
    refuseChangingFilesFromOutside(filter, kernel::landlockVersion());
    refuseLeavingTheGroup(filter);
    refusePrioritiesOfOthers(filter);
    refuseSockets(filter, localSockets);
    filter.load();
}

}  // namespace tarn::cell
