#include "peers/job_runtime/pipeline/ProgramStart.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <system_error>

#include "platform/os/FileDescriptor.h"
#include "platform/os/ProcessDefaults.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

struct ProgramStartTest : testing::Test {
    ProgramStartTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        readEnd = os::FileDescriptor(ends[0]);
        writeEnd = os::FileDescriptor(ends[1]);
    }

    /// What a shell that runs the lines wrote.
    std::string run(const std::string& lines) {
        const auto script = folder.write("script", lines + "\n");
        id = startProgram({.path = "/bin/sh",
                           .argument = script,
                           .output = writeEnd.get(),
                           .channel = channel.get(),
                           .channelNumber = 3});
        writeEnd.close();
        std::string text;
        std::array<char, 4096> buffer{};
        for (ssize_t count = 0;
             (count = ::read(readEnd.get(), buffer.data(), buffer.size())) > 0;) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        ::waitpid(id, nullptr, 0);
        return text;
    }

    const test::TemporaryFolder folder;
    const os::FileDescriptor channel{::eventfd(0, EFD_CLOEXEC)};
    os::FileDescriptor readEnd;
    os::FileDescriptor writeEnd;
    pid_t id = -1;
};

TEST_F(ProgramStartTest, BothOutputsGoWhereTheyWereLedAndThereIsNothingToRead) {
    EXPECT_EQ(run("echo out; echo err >&2; cat"), "out\nerr\n");
}

TEST_F(ProgramStartTest, TheProgramHasTheChannelUnderItsNumberAndNoOtherDescriptor) {
    const os::FileDescriptor inheritable(::open("/dev/null", O_RDONLY));
    // 10 is the script that the shell reads, 4 the folder that is listed.
    EXPECT_EQ(run("cd /proc/self/fd; for f in 0 1 2 3 4 5 6 7 8 9; do [ -e $f ] && echo $f; done;"
                  " readlink 3"),
              "0\n1\n2\n3\nanon_inode:[eventfd]\n");
}

TEST_F(ProgramStartTest, TheProgramLeadsAGroupOfItsOwn) {
    const auto text = run("echo $$ $(cut -d' ' -f5 /proc/$$/stat)");
    EXPECT_EQ(text, std::to_string(id) + " " + std::to_string(id) + "\n");
}

TEST_F(ProgramStartTest, TheProgramHasTheSignalsOfAFreshOne) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto previous = ::signal(SIGUSR1, SIG_IGN);
    const auto text = run("sed -nE 's/^Sig(Blk|Ign):\\t//p' /proc/self/status");
    ::signal(SIGUSR1, previous);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    const auto line = text.find('\n');
    EXPECT_EQ(std::stoull(text.substr(0, line), nullptr, 16), 0U);
    // signals 32 and 33 are the C library's own; its spawn always ignores them
    EXPECT_EQ(std::stoull(text.substr(line + 1), nullptr, 16) & 0x7fffffffU, 0U);
}

TEST_F(ProgramStartTest, TheProgramHasTheLimitThatThisProcessWasStartedWith) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit low{before.rlim_max / 2, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    os::raiseDescriptorLimit();
    const auto limit = std::to_string(low.rlim_cur);
    // It is set just after the start.
    EXPECT_EQ(run("n=0; while [ $(ulimit -S -n) != " + limit +
                  " ] && [ $n -lt 10000 ]; do n=$((n+1)); done; ulimit -S -n"),
              limit + "\n");
    ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(ProgramStartTest, AProgramThatIsNotThereThrows) {
    EXPECT_THROW(startProgram({.path = "/nonexistent/program",
                               .argument = "",
                               .output = writeEnd.get(),
                               .channel = channel.get(),
                               .channelNumber = 3}),
                 std::system_error);
}

TEST_F(ProgramStartTest, BesideThisProgramIsInItsFolder) {
    const auto self = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(besideThisProgram("another"), (self.parent_path() / "another").string());
}

}  // namespace
}  // namespace tarn::peers
