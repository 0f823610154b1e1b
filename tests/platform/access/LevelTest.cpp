#include "platform/access/Level.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace tarn::access {

namespace {

TEST(LevelTest, HasAName) {
    for (const auto level : {Level::None, Level::Read, Level::Operate, Level::Admin}) {
        EXPECT_EQ(levelNamed(nameOf(level)), level);
    }
    EXPECT_EQ(nameOf(Level::Operate), "operate");
    EXPECT_FALSE(levelNamed("Admin"));
    EXPECT_FALSE(levelNamed(""));
}

TEST(LevelTest, RootAndTheOwnUserAreAdmin) {
    EXPECT_EQ(levelOf({.user = 0, .group = 61001, .process = 0, .groups = {}}), Level::Admin);
    EXPECT_EQ(levelOf({.user = ::geteuid(), .group = 61001, .process = 0, .groups = {}}),
              Level::Admin);
}

TEST(LevelTest, AStrangerHasNone) {
    EXPECT_EQ(levelOf({.user = 61001, .group = 61001, .process = 0, .groups = {61002}}),
              Level::None);
    EXPECT_EQ(levelOf({.user = 61001, .group = 0, .process = 0, .groups = {0}}), Level::None);
}

}  // namespace

}  // namespace tarn::access
