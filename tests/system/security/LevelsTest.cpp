#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>

#include "platform/utils/UuidGenerator.h"
#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/security/SecurityTest.h"

namespace tarn::test {

namespace {

using testing::HasSubstr;
using testing::Not;

class LevelsTest : public SecurityTest {
  protected:
    struct Request {
        std::vector<std::string> arguments;
        std::string level;
    };

    static std::vector<Request> requests() {
        return {
            {{"info"}, "read"},
            {{"jobs", "list"}, "read"},
            {{"tree"}, "read"},
            {{"capture", "show"}, "read"},
            {{"storage", "workers"}, "read"},
            {{"storage", "space"}, "read"},
            {{"storage", "properties", "1"}, "read"},
            {{"storage", "properties", "1", "set", "a=b"}, "operate"},
            {{"capture", "set", "--pixel-format", "uyvy422_8", "--line-count", "1080",
              "--field-mode", "i", "--frame-rate", "25", "--input", "0"},
             "operate"},
            {{"jobs", "submit", "--pipeline", "videotestsrc num-buffers=1 ! fakesink"}, "operate"},
            {{"jobs", "submit", "--persistent", "--pipeline", "audiotestsrc ! fakesink"}, "admin"},
            {{"engines", "submit", "--name", "e", "--settings",
              "audiotestsrc num-buffers=1 ! fakesink"},
             "admin"},
            {{"storage", "create", "--size", "1M"}, "admin"},
            {{"storage", "resize", "1", "--size", "2M"}, "admin"},
            {{"storage", "clear", "1"}, "admin"},
            {{"storage", "destroy", "1"}, "admin"},
        };
    }

    static bool isAllowed(const std::string& needed, const std::string& has) {
        const std::vector<std::string> order{"read", "operate", "admin"};
        return std::ranges::find(order, needed) <= std::ranges::find(order, has);
    }

    // What is allowed may still fail, for want of what it asks for.
    static void expectAnswers(const OtherUser& user, const std::string& has) {
        for (const auto& [arguments, level] : requests()) {
            SCOPED_TRACE(testing::PrintToString(arguments) + " by one who has " + has);
            const auto run = tarnctlAs(user, arguments);
            if (isAllowed(level, has)) {
                EXPECT_THAT(run.err, Not(HasSubstr("Access denied")));
                EXPECT_NE(run.exitStatus, 2) << run.err;
            } else {
                EXPECT_EQ(run.exitStatus, 1);
                EXPECT_THAT(run.err, HasSubstr("Access denied: this needs the level " + level +
                                               ", and user 61001 has " + has));
            }
        }
    }

    std::string submitAs(const OtherUser& user) {
        const auto id = utils::UuidGenerator::Generate();
        const auto run = tarnctlAs(user, {"jobs", "submit", "--id", id, "--pipeline", endless});
        EXPECT_EQ(run.exitStatus, 0) << run.err;
        EXPECT_TRUE(eventually([&] { return isListed(id); }));
        return id;
    }
};

}  // namespace

TEST_F(LevelsTest, WhoHasNoneIsNotLetIn) {
    startService();
    EXPECT_EQ(knockAs(nobody(), "/tmp/requests"), EACCES);
    EXPECT_EQ(knockAs(reader(), "/tmp/requests"), 0);
}

TEST_F(LevelsTest, AReaderLooksAndDoesNothing) {
    startService();
    expectAnswers(reader(), "read");
    EXPECT_TRUE(service().log().contains("Access denied: this needs the level operate"));
    EXPECT_TRUE(api().jobs()->empty());
}

TEST_F(LevelsTest, AnOperatorOperates) {
    startService();
    expectAnswers(operating(), "operate");
}

TEST_F(LevelsTest, AnAdministratorMayAll) {
    startService();
    expectAnswers(admin(), "admin");
    EXPECT_EQ(tarnctlAs(admin(), {"jobs", "stop", "--all", "--for-good"}).exitStatus, 0);
}

TEST_F(LevelsTest, ARefusalCostsTheNextOneNothing) {
    startService();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(
            tarnctlAs(reader(), {"engines", "submit", "--name", "e", "--settings", "x"}).exitStatus,
            1);
        EXPECT_TRUE(api().info());
    }
}

TEST_F(LevelsTest, AJobIsItsOwners) {
    startService();
    const auto id = submitAs(operating(61001));
    EXPECT_THAT(tarnctl({"jobs", "list"}).out, HasSubstr("61001"));
    EXPECT_THAT(tarnctlAs(reader(61002), {"jobs", "show", id}).out, HasSubstr("playing"));
    const auto byReader = tarnctlAs(reader(61001), {"jobs", "stop", id});
    EXPECT_EQ(byReader.exitStatus, 1);
    EXPECT_THAT(byReader.err, HasSubstr("needs the level operate, and user 61001 has read"));
    const auto byOther = tarnctlAs(operating(61002), {"jobs", "stop", id});
    EXPECT_EQ(byOther.exitStatus, 1);
    EXPECT_THAT(byOther.err, HasSubstr("needs the level admin, and user 61002 has operate"));
    EXPECT_TRUE(isListed(id));
    EXPECT_EQ(tarnctlAs(operating(61001), {"jobs", "stop", id}).exitStatus, 0);
    EXPECT_FALSE(isListed(id));
}

TEST_F(LevelsTest, AnAdministratorStopsOthersJobs) {
    startService();
    const auto id = submitAs(operating(61001));
    EXPECT_EQ(tarnctlAs(admin(61002), {"jobs", "stop", id}).exitStatus, 0);
}

TEST_F(LevelsTest, AKilledServiceStillKnowsTheOwner) {
    startService();
    const auto id = submitAs(operating(61001));
    service().killHard();
    startService();
    EXPECT_TRUE(eventually([&] { return isListed(id); }));
    EXPECT_THAT(tarnctl({"jobs", "list"}).out, HasSubstr("61001"));
    EXPECT_EQ(tarnctlAs(operating(61002), {"jobs", "stop", id}).exitStatus, 1);
    EXPECT_EQ(tarnctlAs(operating(61001), {"jobs", "stop", id}).exitStatus, 0);
}

TEST_F(LevelsTest, APersistentJobComesBackAsItsOwners) {
    startService();
    const auto id = utils::UuidGenerator::Generate();
    ASSERT_EQ(tarnctlAs(admin(61003),
                        {"jobs", "submit", "--persistent", "--id", id, "--pipeline", endless})
                  .exitStatus,
              0);
    ASSERT_TRUE(eventually([&] { return isListed(id); }));
    service().stop();
    ASSERT_TRUE(eventually([] { return processesRunning("tarnWorkflowLauncher").empty(); }));
    startService();
    ASSERT_TRUE(eventually([&] { return isListed(id); }));
    EXPECT_THAT(tarnctl({"jobs", "list"}).out, HasSubstr("61003"));
    EXPECT_EQ(tarnctl({"jobs", "stop", id, "--for-good"}).exitStatus, 0);
}

}  // namespace tarn::test
