#include "platform/os/UserName.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

namespace tarn::os {
namespace {

constexpr auto users =
    "root:x:0:0:root:/root:/bin/bash\n"
    "\n"
    "broken\n"
    "mallory:x:1001:100::/home/mallory:/bin/sh\n"
    "again:x:1001:100::/:/bin/sh\n"
    "last:x:12:12";

TEST(UserNameTest, IsTheFirstOfTheNumber) {
    EXPECT_EQ(userNameIn(users, 0), "root");
    EXPECT_EQ(userNameIn(users, 1001), "mallory");
    EXPECT_EQ(userNameIn(users, 12), "last");
}

TEST(UserNameTest, IsEmptyWhereThereIsNone) {
    EXPECT_EQ(userNameIn(users, 100), "");
    EXPECT_EQ(userNameIn(users, 1), "");
    EXPECT_EQ(userNameIn("", 0), "");
    EXPECT_EQ(userNameOf(0, "/nowhere"), "");
}

TEST(UserNameTest, IsReadFromAFile) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(userNameOf(1001, folder.write("passwd", users)), "mallory");
}

TEST(UserNameTest, AUserIsDescribedByNameAndNumber) {
    EXPECT_EQ(describeUser(0), "user root (0)");
    EXPECT_EQ(describeUser(61001), "user 61001");
}

}  // namespace
}  // namespace tarn::os
