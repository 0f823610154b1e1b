#include "platform/os/NameClaim.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Eventually.h"
#include "tests/support/ForkedProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/ImpostorSocket.h"

namespace tarn::os {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::ThrowsMessage;

// Whether the work was done, in a copy of this process.
bool doneInACopy(const std::function<bool()>& work) {
    const auto copy = ::fork();
    if (copy == 0) {
        ::_exit(work() ? 0 : 1);
    }
    int status = -1;
    ::waitpid(copy, &status, 0);
    return status == 0;
}

struct NameClaimTest : testing::Test {
    std::optional<NameClaim> take(std::string_view wanted) const {
        return NameClaim::TryTake(wanted, folder.path());
    }
    // Whether another process could have it; it gives it back at once.
    bool isFreeElsewhere() const {
        return doneInACopy([this] { return take(name).has_value(); });
    }
    std::size_t files() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
    }

    const test::TemporaryFolder folder;
    const std::string name = "tarn.test/of any bytes\n\xff";
};

TEST_F(NameClaimTest, OneHasIt) {
    const auto claim = take(name);
    EXPECT_TRUE(claim);
    EXPECT_FALSE(take(name));
}

TEST_F(NameClaimTest, IsFreeOnceItsHolderIsGone) {
    take(name).reset();
    EXPECT_TRUE(take(name));
}

TEST_F(NameClaimTest, LeavesNoFile) {
    {
        const auto claim = take(name);
        EXPECT_EQ(files(), 1U);
    }
    EXPECT_EQ(files(), 0U);
}

TEST_F(NameClaimTest, HoldsInOtherProcessesToo) {
    const auto claim = take(name);
    EXPECT_FALSE(isFreeElsewhere());
    // That they looked changes nothing.
    EXPECT_FALSE(isFreeElsewhere());
    EXPECT_FALSE(take(name));
}

TEST_F(NameClaimTest, IsFreeWhenItsHolderIsKilled) {
    std::optional<NameClaim> claim;
    test::ForkedProcess holder([&] { claim = take(name); });
    ASSERT_TRUE(test::eventually([&] { return !isFreeElsewhere(); }));
    holder.killAndLeaveZombie();
    EXPECT_TRUE(take(name));
}

// What a library starts without our knowing, for one.
TEST_F(NameClaimTest, IsFreeWhenItsHolderIsKilledThoughACopyOfItLivesOn) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    test::ForkedProcess holder([&] {
        const auto claim = take(name);
        const auto copy = ::fork();
        if (copy == 0) {
            ::alarm(60);
            ::pause();
        }
        if (::write(writing.get(), &copy, sizeof copy) != sizeof copy) {
            throw std::runtime_error("nobody reads which copy there is");
        }
        ::pause();
    });
    pid_t copy = 0;
    ASSERT_EQ(::read(reading.get(), &copy, sizeof copy), static_cast<ssize_t>(sizeof copy));
    EXPECT_FALSE(take(name));
    holder.killAndLeaveZombie();
    EXPECT_TRUE(take(name));
    ::kill(copy, SIGKILL);
}

TEST_F(NameClaimTest, ACopyOfItsHolderDoesNotGiveItBack) {
    auto claim = take(name);
    EXPECT_TRUE(doneInACopy([&] {
        claim.reset();
        return true;
    }));
    EXPECT_EQ(files(), 1U);
    EXPECT_FALSE(isFreeElsewhere());
}

TEST_F(NameClaimTest, TellsNamesOfAnyBytesApart) {
    const auto first = take(name);
    EXPECT_TRUE(take(name + std::string("\0", 1)));
    EXPECT_TRUE(take(name + "x"));
    EXPECT_TRUE(take(name.substr(0, name.size() - 1)));
    EXPECT_TRUE(take(""));
    EXPECT_TRUE(take("../../etc/passwd"));
}

TEST_F(NameClaimTest, TellsLongNamesApart) {
    const std::string longName(1'000'000, 'x');
    const auto first = take(longName);
    EXPECT_FALSE(take(longName));
    EXPECT_TRUE(take(longName + "y"));
}

TEST_F(NameClaimTest, WhatKilledHoldersLeftIsRemoved) {
    const auto held = take(name);
    for (int i = 0; i < 5; ++i) {
        folder.write("left-" + std::to_string(i), "");
    }
    EXPECT_TRUE(doneInACopy([this] { return take("another").has_value(); }));
    EXPECT_EQ(files(), 1U);
    EXPECT_FALSE(isFreeElsewhere());
}

TEST_F(NameClaimTest, OfManyThatComeAtOnceOneHasIt) {
    for (int round = 0; round < 50; ++round) {
        std::vector<std::optional<NameClaim>> claims(4);
        {
            std::vector<std::jthread> threads;
            for (auto& claim : claims) {
                threads.emplace_back([&] { claim = take(name); });
            }
        }
        EXPECT_EQ(
            std::ranges::count_if(claims, [](const auto& claim) { return claim.has_value(); }), 1);
    }
}

// Taking and giving back at the same moment must never lock a file that is no more at its place.
TEST_F(NameClaimTest, ProcessesThatTakeTurnsNeverHaveItTogether) {
    const auto owner = folder.path() / "owner";
    const auto turns = [&] {
        for (int done = 0; done < 200;) {
            if (const auto claim = take(name)) {
                if (::mkdir(owner.c_str(), 0700) != 0 || ::rmdir(owner.c_str()) != 0) {
                    return false;
                }
                ++done;
            }
        }
        return true;
    };
    std::array<pid_t, 3> copies{};
    for (auto& copy : copies) {
        copy = ::fork();
        if (copy == 0) {
            ::_exit(turns() ? 0 : 1);
        }
    }
    for (const auto copy : copies) {
        int status = -1;
        ::waitpid(copy, &status, 0);
        EXPECT_EQ(status, 0);
    }
}

TEST_F(NameClaimTest, AFolderThatIsNotThereIsAnError) {
    EXPECT_THROW(NameClaim::TryTake(name, folder.path() / "no"), std::runtime_error);
}

struct ClaimFolderTest : testing::Test {
    mode_t modeOf(const std::string& path) const {
        struct stat facts {};
        EXPECT_EQ(::stat(path.c_str(), &facts), 0);
        return facts.st_mode & ALLPERMS;
    }

    const test::TemporaryFolder folder;
    const std::string path = (folder.path() / "of" / "claims").string();
};

TEST_F(ClaimFolderTest, IsTheUsersAlone) {
    const auto before = ::umask(0);
    makePrivateFolder(path);
    ::umask(before);
    EXPECT_EQ(modeOf(path), 0700U);
    EXPECT_EQ(modeOf(claimFolder()), 0700U);
}

TEST_F(ClaimFolderTest, IsClosedWhereItWasOpen) {
    makePrivateFolder(path);
    ::chmod(path.c_str(), 0755);
    makePrivateFolder(path);
    EXPECT_EQ(modeOf(path), 0700U);
}

TEST_F(ClaimFolderTest, IsNoLinkAndNoFile) {
    const auto taken = folder.write("taken", "");
    EXPECT_THAT([&] { makePrivateFolder(taken); },
                ThrowsMessage<std::runtime_error>(HasSubstr("it is no folder")));
    fs::create_symlink("/", folder.path() / "link");
    EXPECT_THAT([&] { makePrivateFolder(folder.path() / "link"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("it is no folder")));
}

TEST_F(ClaimFolderTest, IsNotAnothersWhoIsNamed) {
    if (!test::canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    const auto taken = (folder.path() / "taken").string();
    ASSERT_EQ(::mkdir(taken.c_str(), 0777), 0);
    ASSERT_EQ(::chown(taken.c_str(), test::OtherUser().user, test::OtherUser().group), 0);
    EXPECT_THAT([&] { makePrivateFolder(taken); },
                ThrowsMessage<std::runtime_error>(HasSubstr("it belongs to user 61001")));
}

TEST_F(ClaimFolderTest, NobodyElseCanLookIntoIt) {
    if (!test::canBeOthers()) {
        GTEST_SKIP() << "there is one user only";
    }
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    makePrivateFolder(path);
    const auto claim = NameClaim::TryTake("name", path);
    const auto file = fs::directory_iterator(path)->path().string();
    EXPECT_TRUE(test::doneAs({}, [&] {
        return ::open(path.c_str(), O_RDONLY) < 0 && ::open(file.c_str(), O_RDONLY) < 0 &&
               ::open((path + "/x").c_str(), O_CREAT | O_RDWR, 0600) < 0;
    }));
}

}  // namespace
}  // namespace tarn::os
