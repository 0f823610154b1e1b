#include "platform/cell/kernel/Ruleset.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "platform/cell/kernel/LandlockKernel.h"

namespace tarn::cell {

namespace {

constexpr std::uint64_t reading = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t changing = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
                                   LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_DIR |
                                   LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_SOCK |
                                   LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_SYM |
                                   LANDLOCK_ACCESS_FS_REFER | kernel::accessTruncate;
// Never allowed, so that nothing new is a device or a program.
constexpr std::uint64_t never = LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_BLOCK;
constexpr std::uint64_t ofFiles = LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_READ_FILE |
                                  LANDLOCK_ACCESS_FS_WRITE_FILE | kernel::accessTruncate |
                                  kernel::accessIoctlDevice;

std::uint64_t rightsOfVersion(int version) {
    std::uint64_t rights =
        reading | changing | never | LANDLOCK_ACCESS_FS_EXECUTE | kernel::accessIoctlDevice;
    if (version < 5) {
        rights &= ~kernel::accessIoctlDevice;
    }
    if (version < kernel::versionWithTruncate) {
        rights &= ~kernel::accessTruncate;
    }
    return version < 2 ? rights & ~std::uint64_t{LANDLOCK_ACCESS_FS_REFER} : rights;
}

os::FileDescriptor create(int version, std::uint64_t rights) {
    const kernel::RulesetAttributes attributes = {
        .handledFiles = rights,
        .handledNetwork = 0,
        .scoped = version < 6 ? 0 : kernel::scopeAbstractSockets | kernel::scopeSignals};
    const long rules =
        ::syscall(SYS_landlock_create_ruleset, &attributes, kernel::attributesSize(version), 0);
    return os::checkedDescriptor(static_cast<int>(rules), "landlock_create_ruleset");
}

}  // namespace

Ruleset::Ruleset(int version)
    : known(rightsOfVersion(version)), rules(create(version, rightsOfVersion(version))) {}

std::uint64_t Ruleset::rightsFor(Access access) const {
    switch (access) {
        case Access::Read:
            return known & (reading | LANDLOCK_ACCESS_FS_EXECUTE);
        case Access::ReadDevice:
            return known & (reading | LANDLOCK_ACCESS_FS_WRITE_FILE | kernel::accessIoctlDevice);
        case Access::Write:
            return known & (reading | changing);
    }
    return 0;
}

bool Ruleset::allow(const std::string& path, Access access) {
    const os::FileDescriptor place(::open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status {};
    if (!place.isOpen() || ::fstat(place.get(), &status) != 0) {
        return false;
    }
    landlock_path_beneath_attr rule{};
    rule.allowed_access = rightsFor(access);
    rule.parent_fd = place.get();
    if (!S_ISDIR(status.st_mode)) {
        rule.allowed_access &= ofFiles;
    }
    return ::syscall(SYS_landlock_add_rule, rules.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
}

void Ruleset::enforce() const {
    if (::syscall(SYS_landlock_restrict_self, rules.get(), 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "landlock_restrict_self");
    }
}

}  // namespace tarn::cell
