#include "platform/os/FileDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace tarn::os {
namespace {

bool isOpen(int number) {
    return ::fcntl(number, F_GETFD) >= 0;
}

TEST(FileDescriptorTest, IsOneOwnersAndClosedWithIt) {
    int number = -1;
    {
        FileDescriptor first(::eventfd(0, EFD_CLOEXEC));
        number = first.get();
        FileDescriptor second(std::move(first));
        EXPECT_EQ(first.get(), -1);  // NOLINT(bugprone-use-after-move): what it promises
        EXPECT_FALSE(first.isOpen());
        FileDescriptor third(::eventfd(0, EFD_CLOEXEC));
        const int replaced = third.get();
        third = std::move(second);
        EXPECT_FALSE(isOpen(replaced));
        EXPECT_EQ(second.get(), -1);  // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(third.get(), number);
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptorTest, CanBeClosedEarlierAndTwice) {
    FileDescriptor descriptor(::eventfd(0, EFD_CLOEXEC));
    const int number = descriptor.get();
    descriptor.close();
    EXPECT_FALSE(isOpen(number));
    EXPECT_FALSE(descriptor.isOpen());
    descriptor.close();
}

TEST(FileDescriptorTest, ThatIsNoneIsAnErrorWithItsReason) {
    errno = EMFILE;
    try {
        checkedDescriptor(-1, "eventfd");
        FAIL() << "it is none";
    } catch (const std::system_error& e) {
        EXPECT_EQ(e.code().value(), EMFILE);
        EXPECT_EQ(std::string(e.what()).rfind("eventfd", 0), 0U);
    }
}

TEST(FileDescriptorTest, ZeroIsOne) {
    const int kept = ::dup(STDIN_FILENO);
    {
        const auto input = checkedDescriptor(STDIN_FILENO, "standard input");
        EXPECT_TRUE(input.isOpen());
    }
    EXPECT_FALSE(isOpen(STDIN_FILENO));
    ::dup2(kept, STDIN_FILENO);
    ::close(kept);
}

}  // namespace
}  // namespace tarn::os
