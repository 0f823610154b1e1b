#include "platform/cell/kernel/ProcessFilter.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <system_error>

// Written by hand: the library that writes our other filter cannot say "neither of two values" of
// one argument. That other filter refuses calls of other architectures, whose numbers differ.
namespace tarn::cell {

namespace {

constexpr sock_filter load(std::size_t offset) {
    return {BPF_LD | BPF_W | BPF_ABS, 0, 0, static_cast<std::uint32_t>(offset)};
}
// Skips so many instructions when what was loaded is, or is not, the value.
constexpr sock_filter skipIfEqual(std::uint32_t value, std::uint8_t equal, std::uint8_t other = 0) {
    return {BPF_JMP | BPF_JEQ | BPF_K, equal, other, value};
}
constexpr sock_filter end(std::uint32_t action) {
    return {BPF_RET | BPF_K, 0, 0, action};
}

}  // namespace

void refuseReachingOthers() {
    const auto self = static_cast<std::uint32_t>(::getpid());
    std::array program = {
        load(offsetof(seccomp_data, nr)),
        skipIfEqual(SYS_tkill, 13),  // names a thread of anybody's
        skipIfEqual(SYS_kill, 9),
        skipIfEqual(SYS_tgkill, 8),
        skipIfEqual(SYS_rt_sigqueueinfo, 7),
        skipIfEqual(SYS_rt_tgsigqueueinfo, 6),
        skipIfEqual(SYS_prlimit64, 5),
        skipIfEqual(SYS_sched_setscheduler, 4),
        skipIfEqual(SYS_sched_setparam, 3),
        skipIfEqual(SYS_sched_setattr, 2),
        skipIfEqual(SYS_sched_setaffinity, 1),
        end(SECCOMP_RET_ALLOW),
        load(offsetof(seccomp_data, args[0])),  // its lower half, as the kernel takes it
        skipIfEqual(self, 2),
        skipIfEqual(0, 1),
        end(SECCOMP_RET_ERRNO | EPERM),
        end(SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {.len = static_cast<unsigned short>(program.size()),
                               .filter = program.data()};
    if (::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        throw std::system_error(errno, std::generic_category(), "seccomp");
    }
}

}  // namespace tarn::cell
