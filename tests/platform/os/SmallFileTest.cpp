#include "platform/os/SmallFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

namespace tarn::os {
namespace {

struct SmallFileTest : testing::Test {
    std::string named(const std::string& name) const { return (folder.path() / name).string(); }

    const test::TemporaryFolder folder;
};

TEST_F(SmallFileTest, IsReadAsItIs) {
    const std::string content = std::string(20'000, 'x') + std::string("\0\n", 2);
    folder.write("file", content);
    EXPECT_EQ(readBeginning(named("file"), 1 << 20), content);
    EXPECT_EQ(readWhole(named("file"), content.size()), content);
}

TEST_F(SmallFileTest, ThatIsEmptyIsNoneThatIsNotThere) {
    folder.write("file", "");
    EXPECT_EQ(readBeginning(named("file"), 10), "");
    EXPECT_EQ(readBeginning(named("none"), 10), std::nullopt);
    EXPECT_EQ(readWhole(named("none"), 10), std::nullopt);
    EXPECT_EQ(readBeginning(folder.path().string(), 10), std::nullopt);
}

TEST_F(SmallFileTest, IsCutOrRefusedWhereItIsTooLong) {
    folder.write("file", "0123456789");
    EXPECT_EQ(readBeginning(named("file"), 4), "0123");
    EXPECT_EQ(readBeginning(named("file"), 0), "");
    EXPECT_THROW(readWhole(named("file"), 9), std::length_error);
}

TEST_F(SmallFileTest, OfTheKernelHasNoSizeAndIsReadAllTheSame) {
    EXPECT_FALSE(readBeginning("/proc/self/stat", 4096).value_or("").empty());
}

TEST_F(SmallFileTest, ThatIsAPipeIsNotWaitedFor) {
    ASSERT_EQ(::mkfifo(named("pipe").c_str(), 0600), 0);
    EXPECT_EQ(readBeginning(named("pipe"), 10), "");
}

}  // namespace
}  // namespace tarn::os
