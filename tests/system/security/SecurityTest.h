#pragma once

#include <string>
#include <vector>

#include "tests/support/OtherUser.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

/// A machine that has the groups of levels, and users in them. Skipped where there is one user
/// only.
class SecurityTest : public SystemTest {
  protected:
    static constexpr gid_t readers = 61101;
    static constexpr gid_t operators = 61102;
    static constexpr gid_t administrators = 61103;

    void SetUp() override;

    static OtherUser nobody(uid_t id = 61001) { return {.user = id, .group = id}; }
    static OtherUser reader(uid_t id = 61001) { return in({readers}, id); }
    static OtherUser operating(uid_t id = 61001) { return in({readers, operators}, id); }
    static OtherUser admin(uid_t id = 61001) { return in({readers, administrators}, id); }

    /// One run of tarnctl by that user, to its end.
    static ProcessResult tarnctlAs(const OtherUser& user, std::vector<std::string> arguments);

    /// Whether that user is let in at a socket file; errno where he is not.
    static int knockAs(const OtherUser& user, const std::string& path);

  private:
    static OtherUser in(std::vector<gid_t> groups, uid_t id) {
        return {.user = id, .group = id, .groups = std::move(groups)};
    }
};

}  // namespace tarn::test
