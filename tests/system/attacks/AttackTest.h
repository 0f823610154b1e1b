#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/system/security/SecurityTest.h"

namespace tarn::test {

/// A machine that a second user attacks. Each thing that he does is an act with a name, which the
/// test's output has; docs/security.md lists the tests.
class AttackTest : public SecurityTest {
  protected:
    /// An act that came to nothing, or not.
    static void expectRefused(const std::string& act, bool isRefused);

    /// What he does, in a process of his own: 0, or -1 with errno.
    using Act = std::function<int()>;
    /// Whether the kernel keeps him from it: EACCES or EPERM.
    static bool isForbidden(const OtherUser& attacker, const Act& act);
    static bool isDone(const OtherUser& attacker, const Act& act);

    /// What the service answers him, over a connection of the library's own: the process's may not
    /// be used in a copy of it. Whether that was a success.
    static bool isGranted(const OtherUser& attacker, const Api::Request& request);

    /// The service is there, and answers others.
    void expectOthersServed();

    /// Warnings and errors in the service's log, from its line `after` on, that hold the text.
    std::size_t complaints(std::size_t after, const std::string& text = {});

    /// A folder that everybody may write in, as /tmp is, made by an administrator's mistake.
    static std::string openFolder(const std::string& path);

    /// A file of his, with mode 0644.
    static void plant(const std::string& path, const std::string& content);
};

}  // namespace tarn::test
