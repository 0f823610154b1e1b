#pragma once

#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

// The kernel's interface as it is today: the header of the system that this is built on is older
// than many a kernel that it runs on. What a kernel knows is asked for at run time.
namespace tarn::cell::kernel {

constexpr int versionWithTruncate = 3;
constexpr std::uint64_t accessTruncate = 1ULL << 14;
constexpr std::uint64_t accessIoctlDevice = 1ULL << 15;    // since version 5
constexpr std::uint64_t scopeAbstractSockets = 1ULL << 0;  // since version 6
constexpr std::uint64_t scopeSignals = 1ULL << 1;

struct RulesetAttributes {
    std::uint64_t handledFiles;
    std::uint64_t handledNetwork;  // since version 4
    std::uint64_t scoped;          // since version 6
};

/// 0 where the kernel has none, or it is switched off.
inline int landlockVersion() {
    const long version =
        ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    return version > 0 ? static_cast<int>(version) : 0;
}

inline std::size_t attributesSize(int version) {
    return version >= 6   ? sizeof(RulesetAttributes)
           : version >= 4 ? offsetof(RulesetAttributes, scoped)
                          : offsetof(RulesetAttributes, handledNetwork);
}

}  // namespace tarn::cell::kernel
