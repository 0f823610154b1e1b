#include "platform/os/Subprocess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <system_error>

#include "platform/os/ProcessDefaults.h"
#include "platform/os/ProcessIdentity.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::os {
namespace {

using namespace std::chrono_literals;

struct SubprocessTest : testing::Test {
    SubprocessTest() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        readEnd = FileDescriptor(ends[0]);
        writeEnd = FileDescriptor(ends[1]);
    }

    /// A shell that runs the lines and writes to `readEnd`.
    Subprocess::Start shell(const std::string& lines) {
        return {.arguments = {"/bin/sh", folder.write("script", lines + "\n")},
                .output = writeEnd.get()};
    }

    /// What it wrote until nobody can write any more.
    std::string output() {
        writeEnd.close();
        std::string text;
        std::array<char, 4096> buffer{};
        for (ssize_t count = 0;
             (count = ::read(readEnd.get(), buffer.data(), buffer.size())) > 0;) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    std::string run(Subprocess::Start start) {
        Subprocess process(std::move(start));
        auto text = output();
        EXPECT_EQ(process.waitForEnd(60s), 0);
        return text;
    }

    /// A line that a process of the group writes; the pipe stays open.
    pid_t readId() const {
        std::string text;
        for (char next = 0; ::read(readEnd.get(), &next, 1) == 1 && next != '\n';) {
            text += next;
        }
        return std::stoi(text);
    }

    const test::TemporaryFolder folder;
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

TEST_F(SubprocessTest, BothOutputsGoWhereTheyWereLedAndThereIsNothingToRead) {
    EXPECT_EQ(run(shell("echo out; echo err >&2; cat")), "out\nerr\n");
}

TEST_F(SubprocessTest, TheProgramHasTheChannelUnderItsNumberAndNoOtherDescriptor) {
    const FileDescriptor inheritable(::open("/dev/null", O_RDONLY));
    const FileDescriptor channel(::eventfd(0, EFD_CLOEXEC));
    // 10 is the script that the shell reads, 4 the folder that is listed.
    auto start = shell(
        "cd /proc/self/fd; for f in 0 1 2 3 4 5 6 7 8 9; do [ -e $f ] && echo $f; done;"
        " readlink 3");
    start.channel = channel.get();
    EXPECT_EQ(run(std::move(start)), "0\n1\n2\n3\nanon_inode:[eventfd]\n");
}

TEST_F(SubprocessTest, WithoutAChannelTheProgramHasTheStandardDescriptorsOnly) {
    const FileDescriptor inheritable(::open("/dev/null", O_RDONLY));
    EXPECT_EQ(run(shell("cd /proc/self/fd; for f in 0 1 2 3 4 5; do [ ! -e $f ] || echo $f; done")),
              "0\n1\n2\n");
}

TEST_F(SubprocessTest, TheProgramLeadsAGroupOfItsOwn) {
    Subprocess process(shell("echo $$ $(cut -d' ' -f5 /proc/$$/stat)"));
    const auto id = std::to_string(process.id());
    EXPECT_EQ(output(), id + " " + id + "\n");
}

TEST_F(SubprocessTest, TheProgramSharesTheGroupWhereItIsToldTo) {
    auto start = shell("cut -d' ' -f5 /proc/$$/stat");
    start.group = Subprocess::Group::Shared;
    EXPECT_EQ(run(std::move(start)), std::to_string(::getpgrp()) + "\n");
}

TEST_F(SubprocessTest, TheProgramHasTheSignalsOfAFreshOne) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto previous = ::signal(SIGUSR1, SIG_IGN);
    const auto text = run(shell("sed -nE 's/^Sig(Blk|Ign):\\t//p' /proc/self/status"));
    ::signal(SIGUSR1, previous);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    const auto line = text.find('\n');
    EXPECT_EQ(std::stoull(text.substr(0, line), nullptr, 16), 0U);
    // signals 32 and 33 are the C library's own; its spawn always ignores them
    EXPECT_EQ(std::stoull(text.substr(line + 1), nullptr, 16) & 0x7fffffffU, 0U);
}

TEST_F(SubprocessTest, TheProgramHasTheLimitThatThisProcessWasStartedWith) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit low{before.rlim_max / 2, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
    raiseDescriptorLimit();
    const auto limit = std::to_string(inheritedDescriptorLimit());
    // It is set just after the start.
    EXPECT_EQ(run(shell("n=0; while [ $(ulimit -S -n) != " + limit +
                        " ] && [ $n -lt 10000 ]; do n=$((n+1)); done; ulimit -S -n")),
              limit + "\n");
    ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(SubprocessTest, AProgramThatIsNotThereThrowsItsName) {
    try {
        Subprocess process({.arguments = {"/nonexistent/program"}});
        FAIL() << "it is there";
    } catch (const std::system_error& e) {
        EXPECT_STREQ(e.what(), "/nonexistent/program: No such file or directory");
    }
}

TEST_F(SubprocessTest, ItsStatusIsGivenOnce) {
    Subprocess process(shell("exit 7"));
    const auto status = process.waitForEnd(60s);
    ASSERT_TRUE(status);
    EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 7);
    EXPECT_EQ(process.waitForEnd(0ms), std::nullopt);
}

TEST_F(SubprocessTest, OneThatStillRunsHasNoStatusAndADescriptorThatTellsOfItsEnd) {
    Subprocess process(shell("exec sleep 1000"));
    EXPECT_EQ(process.waitForEnd(1ms), std::nullopt);
    pollfd ended{.fd = process.descriptor(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&ended, 1, 0), 0);
    process.signal(SIGTERM);
    EXPECT_EQ(::poll(&ended, 1, 60'000), 1);
    const auto status = process.waitForEnd(0ms);
    ASSERT_TRUE(status);
    EXPECT_TRUE(WIFSIGNALED(*status) && WTERMSIG(*status) == SIGTERM);
    process.signal(SIGTERM);  // to nobody: its id may be another's by now
}

TEST_F(SubprocessTest, WhatItStartedEndsWithIt) {
    Subprocess process(shell("sleep 1000 & echo $!"));
    readId();
    ASSERT_TRUE(process.waitForEnd(60s));
    EXPECT_EQ(output(), "");  // nobody holds it open any more
}

TEST_F(SubprocessTest, WhatAShellLeavesInTheBackgroundOfASharedGroupGoesOn) {
    auto start = shell("sleep 1000 & echo $!");
    start.group = Subprocess::Group::Shared;
    pid_t started = 0;
    {
        Subprocess process(std::move(start));
        started = readId();
        ASSERT_TRUE(process.waitForEnd(60s));
    }
    EXPECT_TRUE(isAlive(ProcessIdentity::of(started)));
    ::kill(started, SIGKILL);
}

TEST_F(SubprocessTest, IsKilledAtTheEndOfTheObjectAndNotLeftToBeReaped) {
    ProcessIdentity identity;
    {
        const Subprocess process(shell("exec sleep 1000"));
        identity = ProcessIdentity::of(process.id());
        ASSERT_TRUE(isAlive(identity));
    }
    EXPECT_EQ(ProcessIdentity::of(identity.id).startTime, 0U);
}

TEST_F(SubprocessTest, BesideThisProgramIsInItsFolder) {
    const auto self = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(besideThisProgram("another"), (self.parent_path() / "another").string());
}

TEST_F(SubprocessTest, HasTheEnvironmentThatItIsGivenAndNothingElse) {
    ::setenv("OF_THE_TEST", "1", 1);
    auto start = shell("env");
    start.environment = {"A=b c", "PATH=/usr/bin:/bin"};
    const auto text = run(std::move(start));
    EXPECT_NE(text.find("A=b c\n"), std::string::npos);
    EXPECT_EQ(text.find("OF_THE_TEST"), std::string::npos);
}

TEST_F(SubprocessTest, HasTheEnvironmentOfThisProcessWhereItIsGivenNone) {
    ::setenv("OF_THE_TEST", "1", 1);
    EXPECT_NE(run(shell("env")).find("OF_THE_TEST=1\n"), std::string::npos);
}

}  // namespace
}  // namespace tarn::os
