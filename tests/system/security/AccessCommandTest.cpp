#include <gmock/gmock.h>

#include "tests/system/harness/Installation.h"
#include "tests/system/security/SecurityTest.h"

namespace tarn::test {

namespace {

using testing::HasSubstr;
using testing::Not;

/// On the private machine's own files of users and groups.
class AccessCommandTest : public SecurityTest {
  protected:
    void SetUp() override {
        SecurityTest::SetUp();
        if (!IsSkipped()) {
            ASSERT_EQ(runProcess({"useradd", "--no-create-home", "alice"}).exitStatus, 0);
        }
    }

    static std::string list() { return tarnctl({"access", "list"}).out; }
};

}  // namespace

TEST_F(AccessCommandTest, GivesAndTakesLevels) {
    const auto granted = tarnctl({"access", "grant", "alice", "operate"});
    EXPECT_EQ(granted.exitStatus, 0) << granted.err;
    EXPECT_EQ(granted.out, "alice has the level operate from the next log-in on\n");
    EXPECT_THAT(list(), HasSubstr("alice  operate"));
    EXPECT_THAT(runProcess({"id", "-nG", "alice"}).out,
                testing::AllOf(HasSubstr("tarn-read"), HasSubstr("tarn-operate")));

    EXPECT_EQ(tarnctl({"access", "grant", "alice", "read"}).out,
              "alice has the level operate already\n");
    EXPECT_EQ(tarnctl({"access", "grant", "alice", "admin"}).exitStatus, 0);
    EXPECT_THAT(list(), HasSubstr("alice  admin"));

    EXPECT_EQ(tarnctl({"access", "revoke", "alice", "operate"}).exitStatus, 0);
    EXPECT_THAT(list(), HasSubstr("alice  read"));
    EXPECT_THAT(tarnctl({"access", "revoke", "alice", "admin"}).out, HasSubstr("nothing to take"));
    EXPECT_EQ(tarnctl({"access", "revoke", "alice", "read"}).exitStatus, 0);
    EXPECT_THAT(list(), Not(HasSubstr("alice")));
}

TEST_F(AccessCommandTest, RefusesWhoIsNotKnown) {
    const auto run = tarnctl({"access", "grant", "mallory", "admin"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("this machine knows no user \"mallory\""));
    EXPECT_EQ(tarnctl({"access", "grant", "alice", "none"}).exitStatus, 2);
    EXPECT_EQ(tarnctl({"access", "grant", "--add", "root", "admin"}).exitStatus, 2);
}

TEST_F(AccessCommandTest, IsForRoot) {
    const auto run = tarnctlAs(admin(), {"access", "grant", "alice", "admin"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("levels are given and taken by root"));
    EXPECT_THAT(list(), Not(HasSubstr("alice")));
}

TEST_F(AccessCommandTest, SaysWhichGroupIsMissing) {
    ASSERT_EQ(runProcess({"groupdel", "tarn-operate"}).exitStatus, 0);
    const auto run = tarnctl({"access", "grant", "alice", "operate"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.err, HasSubstr("this machine has no group tarn-operate"));
    EXPECT_THAT(list(), Not(HasSubstr("alice")));
}

}  // namespace tarn::test
