#include "platform/access/LevelGroups.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

namespace tarn::access {

namespace {

constexpr auto allGroups =
    "tarn-read:x:61001:\n"
    "tarn-operate:x:61002:\n"
    "tarn-admin:x:61003:\n";

os::PeerUser inGroups(std::vector<gid_t> groups, gid_t first = 61099) {
    return {.user = 61010, .group = first, .process = 1, .groups = std::move(groups)};
}

class LevelGroupsTest : public testing::Test {
  protected:
    LevelGroupsTest() { folder.write("group", allGroups); }

    const test::TemporaryFolder folder;
    LevelGroups groups{(folder.path() / "group").string()};
};

TEST_F(LevelGroupsTest, TheHighestGroupCounts) {
    EXPECT_EQ(groups.levelOf(inGroups({})), Level::None);
    EXPECT_EQ(groups.levelOf(inGroups({61001})), Level::Read);
    EXPECT_EQ(groups.levelOf(inGroups({61001, 61002})), Level::Operate);
    EXPECT_EQ(groups.levelOf(inGroups({61003, 61001})), Level::Admin);
}

TEST_F(LevelGroupsTest, AUsersFirstGroupCountsToo) {
    EXPECT_EQ(groups.levelOf(inGroups({}, 61002)), Level::Operate);
}

TEST_F(LevelGroupsTest, AGroupThatCameLaterCounts) {
    folder.write("group", "tarn-read:x:61001:\n");
    EXPECT_EQ(groups.levelOf(inGroups({61002})), Level::None);
    folder.write("group", allGroups);
    EXPECT_EQ(groups.levelOf(inGroups({61002})), Level::Operate);
}

// Its number may be another group's by then.
TEST_F(LevelGroupsTest, AGroupThatHasGoneCountsNoMore) {
    EXPECT_EQ(groups.levelOf(inGroups({61003})), Level::Admin);
    folder.write("group", "tarn-read:x:61001:\nothers:x:61003:\n");
    EXPECT_EQ(groups.levelOf(inGroups({61003})), Level::None);
}

TEST_F(LevelGroupsTest, WithoutAFileNobodyHasALevel) {
    LevelGroups none((folder.path() / "nothing").string());
    EXPECT_EQ(none.levelOf(inGroups({61001, 61002, 61003, 0}, 0)), Level::None);
}

}  // namespace

}  // namespace tarn::access
