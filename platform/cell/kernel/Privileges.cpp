#include "platform/cell/kernel/Privileges.h"

#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

namespace tarn::cell {

std::optional<Account> accountOf(const std::string& user) {
    const passwd* const entry = ::getpwnam(user.c_str());
    if (entry == nullptr) {
        return std::nullopt;
    }
    Account account{entry->pw_uid, entry->pw_gid, {}};
    int count = 64;
    account.groups.resize(static_cast<std::size_t>(count));
    if (::getgrouplist(user.c_str(), entry->pw_gid, account.groups.data(), &count) < 0) {
        account.groups.resize(static_cast<std::size_t>(count));
        ::getgrouplist(user.c_str(), entry->pw_gid, account.groups.data(), &count);
    }
    account.groups.resize(static_cast<std::size_t>(count));
    return account;
}

bool become(const Account& account) {
    if (::setgroups(account.groups.size(), account.groups.data()) != 0 ||
        ::setresgid(account.group, account.group, account.group) != 0 ||
        ::setresuid(account.user, account.user, account.user) != 0) {
        return false;
    }
    // A change of user hides /proc/self from the process itself, too.
    return ::prctl(PR_SET_DUMPABLE, 1) == 0;
}

bool giveUpNewPrivileges() {
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

// Who may not change this set gets nothing out of it either: without new privileges a program that
// he starts has none that he has not.
void limitCapabilities() {
    for (int capability = 0; ::prctl(PR_CAPBSET_READ, capability) >= 0; ++capability) {
        ::prctl(PR_CAPBSET_DROP, capability);
    }
}

bool dropCapabilities() {
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
    __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    const std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> none{};
    return ::syscall(SYS_capset, &header, none.data()) == 0;
}

}  // namespace tarn::cell
