#include "service/workflows/ShellCommand.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

#include "service/workflows/launch/ShellQuote.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::service {

using testing::HasSubstr;

class ShellCommandTest : public testing::Test {
  protected:
    std::string output() const { return test::readFile(file()); }
    std::string file() const { return (folder.path() / "out").string(); }

    test::TemporaryFolder folder;
};

TEST_F(ShellCommandTest, RunsTheTextInAShell) {
    runShellCommand("A=1; echo \"$((A + 1)) words\" > " + file());
    EXPECT_EQ(output(), "2 words\n");
}

TEST_F(ShellCommandTest, HandsQuotedTextOnUnchanged) {
    const std::string hostile = "x; touch /tmp/hit $(id) `id` 'q' \"d\" \\ \n end";
    runShellCommand("printf %s " + shellQuoted(hostile) + " > " + file());
    EXPECT_EQ(output(), hostile);
}

TEST_F(ShellCommandTest, StartsWithDefaultSignalsWhateverTheCallerHas) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto previous = signal(SIGUSR1, SIG_IGN);
    runShellCommand("sed -nE 's/^Sig(Blk|Ign):.//p' /proc/self/status > " + file());
    signal(SIGUSR1, previous);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    std::istringstream masks(output());
    std::uint64_t blockedMask = 1;
    std::uint64_t ignoredMask = 1;
    masks >> std::hex >> blockedMask >> ignoredMask;
    EXPECT_EQ(blockedMask, 0u);
    // signals 32 and 33 are the C library's own; its spawn always ignores them
    EXPECT_EQ(ignoredMask & 0x7fffffff, 0u);
}

TEST_F(ShellCommandTest, LeavesTheCallersSignalHandlingAlone) {
    static volatile sig_atomic_t caught = 0;
    const auto previous = signal(SIGINT, [](int) { caught = 1; });
    runShellCommand("kill -INT $PPID");  // an interrupt while the caller waits for the shell
    signal(SIGINT, previous);
    EXPECT_EQ(caught, 1);
}

TEST_F(ShellCommandTest, GivesNoDescriptorsToTheCommand) {
    const int leaked = open("/dev/null", O_RDONLY);
    ASSERT_GE(leaked, 3);
    runShellCommand("ls /proc/self/fd > " + file());
    close(leaked);
    EXPECT_EQ(output(), "0\n1\n2\n3\n");  // 3 is the folder that ls reads
}

TEST_F(ShellCommandTest, GivesTheCommandNothingToRead) {
    runShellCommand("cat > " + file());
    EXPECT_EQ(output(), "");
}

TEST_F(ShellCommandTest, SaysSoWhenTheCommandIsTooLong) {
    EXPECT_THROW(runShellCommand("true " + std::string(200000, 'x')), std::runtime_error);
}

TEST_F(ShellCommandTest, DoesNotWaitForWhatRunsInTheBackground) {
    const auto fifo = (folder.path() / "fifo").string();
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    runShellCommand("cat " + fifo + " > " + file() + " &");  // reads only once we write
    const int writer = open(fifo.c_str(), O_WRONLY);
    ASSERT_GE(writer, 0);
    close(writer);
}

TEST_F(ShellCommandTest, KillsAShellThatDoesNotEndInTimeAndSaysSo) {
    using namespace std::chrono_literals;
    try {
        runShellCommandWithin(100ms, "echo $$ > " + file() + "; exec sleep 1000");
        FAIL() << "it ended";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "the shell did not end within 100 ms and was killed");
    }
    const auto shell = output();  // empty if it had not come so far
    EXPECT_TRUE(shell.empty() || ::kill(std::stoi(shell), 0) != 0);
}

}  // namespace tarn::service
