#include "platform/os/GroupFile.h"

#include <gmock/gmock.h>

#include "tests/support/TemporaryFolder.h"

namespace tarn::os {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto groups =
    "root:x:0:\n"
    "tarn-read:x:61001:alice,bob\n"
    "tarn-read-not:x:61002:mallory\n"
    "odd:x:12b:\n"
    "short\n"
    "last:x:61003:carol";

TEST(GroupFileTest, AGroupIsFoundByItsWholeName) {
    EXPECT_EQ(groupIdIn(groups, "tarn-read"), 61001U);
    EXPECT_EQ(groupIdIn(groups, "root"), 0U);
    EXPECT_EQ(groupIdIn(groups, "last"), 61003U);
    EXPECT_FALSE(groupIdIn(groups, "tarn"));
    EXPECT_FALSE(groupIdIn(groups, "alice"));
}

TEST(GroupFileTest, ALineThatIsNoneHasNoId) {
    EXPECT_FALSE(groupIdIn(groups, "odd"));
    EXPECT_FALSE(groupIdIn(groups, "short"));
    EXPECT_FALSE(groupIdIn("", "root"));
    EXPECT_FALSE(groupIdIn("big:x:99999999999:", "big"));
}

TEST(GroupFileTest, ItsMembersAreListed) {
    EXPECT_THAT(groupMembersIn(groups, "tarn-read"), ElementsAre("alice", "bob"));
    EXPECT_THAT(groupMembersIn(groups, "last"), ElementsAre("carol"));
    EXPECT_THAT(groupMembersIn(groups, "root"), IsEmpty());
    EXPECT_THAT(groupMembersIn(groups, "nobody"), IsEmpty());
}

TEST(GroupFileTest, AFileThatIsNotThereHasNoGroups) {
    const test::TemporaryFolder folder;
    const auto file = (folder.path() / "group").string();
    EXPECT_FALSE(groupIdOf("root", file));
    folder.write("group", groups);
    EXPECT_EQ(groupIdOf("root", file), 0U);
    EXPECT_THAT(groupMembersOf("tarn-read", file), ElementsAre("alice", "bob"));
}

}  // namespace

}  // namespace tarn::os
