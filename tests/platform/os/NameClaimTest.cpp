#include "platform/os/NameClaim.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace tarn::os {
namespace {

struct NameClaimTest : testing::Test {
    const std::string name = "tarn.test:" + std::to_string(::getpid());
};

TEST_F(NameClaimTest, OneHasIt) {
    const auto claim = NameClaim::TryTake(name);
    EXPECT_TRUE(claim);
    EXPECT_FALSE(NameClaim::TryTake(name));
}

TEST_F(NameClaimTest, IsFreeOnceItsHolderIsGone) {
    NameClaim::TryTake(name).reset();
    EXPECT_TRUE(NameClaim::TryTake(name));
}

TEST_F(NameClaimTest, HoldsInOtherProcessesToo) {
    const auto claim = NameClaim::TryTake(name);
    EXPECT_EXIT(::_exit(NameClaim::TryTake(name) ? 1 : 0), testing::ExitedWithCode(0), "");
}

TEST_F(NameClaimTest, TellsNamesOfAnyBytesApart) {
    const auto first = NameClaim::TryTake(name);
    EXPECT_TRUE(NameClaim::TryTake(name + std::string("\0", 1)));
    EXPECT_TRUE(NameClaim::TryTake(name + "x"));
    EXPECT_TRUE(NameClaim::TryTake(name.substr(0, name.size() - 1)));
}

TEST_F(NameClaimTest, RefusesANameThatIsTooLong) {
    const std::string longest = name + std::string(NameClaim::longestName - name.size(), 'x');
    EXPECT_TRUE(NameClaim::TryTake(longest));
    EXPECT_THROW(NameClaim::TryTake(longest + "y"), std::invalid_argument);
}

}  // namespace
}  // namespace tarn::os
