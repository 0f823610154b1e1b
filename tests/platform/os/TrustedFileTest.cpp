#include "platform/os/TrustedFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "tests/support/OtherUser.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::os {
namespace {

using testing::HasSubstr;

struct TrustedFileTest : testing::Test {
    std::string named(const std::string& name) const { return (folder.path() / name).string(); }

    std::string madeByAnother(const std::string& name) const {
        folder.write(name, "planted");
        give(name);
        return named(name);
    }
    void give(const std::string& name) const {
        const test::OtherUser other;
        EXPECT_EQ(::lchown(named(name).c_str(), other.user, other.group), 0);
    }
    static std::string whyNotRead(const std::string& path) {
        try {
            readOurs(path, 100);
        } catch (const std::runtime_error& reason) {
            return reason.what();
        }
        return "it was read";
    }

    const test::TemporaryFolder folder;
};

struct FilesOfOthers : TrustedFileTest {
    void SetUp() override {
        if (!test::canBeOthers()) {
            GTEST_SKIP() << "there is one user only";
        }
    }
};

TEST_F(TrustedFileTest, OfOursIsRead) {
    folder.write("file", "content");
    EXPECT_EQ(readOurs(named("file"), 7), "content");
    std::filesystem::create_symlink("file", named("link"));
    EXPECT_EQ(readOurs(named("link"), 7), "content");
    EXPECT_EQ(readOurs(named("none"), 7), std::nullopt);
    EXPECT_THROW(readOurs(named("file"), 6), std::length_error);
    EXPECT_NO_THROW(checkIsOurs(named("none")));
}

TEST_F(TrustedFileTest, ThatIsNoneIsRefusedAndNotWaitedFor) {
    ASSERT_EQ(::mkfifo(named("pipe").c_str(), 0600), 0);
    EXPECT_EQ(whyNotRead(named("pipe")), "it is no file");
    EXPECT_EQ(whyNotRead(folder.path().string()), "it is no file");
}

TEST_F(FilesOfOthers, AreRefusedByTheirOwnersName) {
    const auto file = madeByAnother("file");
    EXPECT_THAT(whyNotRead(file), HasSubstr("it belongs to user 61001, and only root"));
    EXPECT_THROW(checkIsOurs(file), std::runtime_error);
}

TEST_F(FilesOfOthers, AreRefusedBehindALinkOfOurs) {
    madeByAnother("file");
    std::filesystem::create_symlink("file", named("link"));
    EXPECT_THAT(whyNotRead(named("link")), HasSubstr("belongs to user 61001"));
    EXPECT_THROW(checkIsOurs(named("link")), std::runtime_error);
}

// It leads to what he chose among ours.
TEST_F(FilesOfOthers, AreTheirLinksToo) {
    folder.write("file", "content");
    std::filesystem::create_symlink("file", named("link"));
    give("link");
    EXPECT_THAT(whyNotRead(named("link")), HasSubstr("belongs to user 61001"));
    EXPECT_THROW(checkIsOurs(named("link")), std::runtime_error);
}

}  // namespace
}  // namespace tarn::os
