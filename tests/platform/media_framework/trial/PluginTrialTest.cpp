#include "platform/media_framework/trial/PluginTrial.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/TemporaryFolder.h"

namespace tarn::media_framework {

using namespace std::chrono_literals;

namespace {

const PluginTrial patient(PLUGIN_TRIAL, 60s);

std::string plugin(const std::string& name) {
    return std::string(PLUGIN_FOLDER "/") + name + ".so";
}

// Somebody else reaps it.
bool isGone(pid_t id) {
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
    if (process < 0) {
        return errno == ESRCH;
    }
    pollfd ended{process, POLLIN, 0};
    const bool hasEnded = ::poll(&ended, 1, 10000) == 1;
    ::close(process);
    return hasEnded;
}

}  // namespace

TEST(PluginTrialTest, PassesWhatHarmsNobody) {
    for (const char* const name : {"GoodPlugin", "PlainPlugin", "RefusingPlugin", "ThrowingPlugin",
                                   "OddlyThrowingPlugin", "UnlinkablePlugin", "NoSuchPlugin"}) {
        EXPECT_EQ(patient.failureOf(plugin(name)), std::nullopt) << name;
    }
}

TEST(PluginTrialTest, EndsAtTheBound) {
    EXPECT_THAT(PluginTrial(PLUGIN_TRIAL, 100ms).failureOf(plugin("HangingPlugin")).value_or(""),
                testing::StartsWith("did not start within 0.1 s when it was tried"));
}

TEST(PluginTrialTest, EndsWithWhateverThePluginStarted) {
    const std::string started = "when it was tried: started ";
    std::string failure;
    auto bound = 200ms;  // a sanitizer on a busy machine may not get so far in that time
    do {
        bound *= 2;
        failure = PluginTrial(PLUGIN_TRIAL, bound).failureOf(plugin("HangingPlugin")).value_or("");
    } while (failure.find(started) == std::string::npos && bound < 20s);
    const auto at = failure.find(started);
    ASSERT_NE(at, std::string::npos) << failure;
    EXPECT_TRUE(isGone(std::stoi(failure.substr(at + started.size()))));
}

TEST(PluginTrialTest, FailsWhenItCannotBeMade) {
    const auto failure = PluginTrial("/no/such/trial", 1s).failureOf(plugin("GoodPlugin"));
    EXPECT_EQ(failure, "cannot be tried: /no/such/trial: No such file or directory");
}

TEST(PluginTrialTest, KeepsOnlySoMuchOfWhatIsWritten) {
    const test::TemporaryFolder folder;
    const auto script = folder.write("noisy", "#!/bin/sh\nyes | head -c 1000000 >&2\nexit 5\n");
    ASSERT_EQ(::chmod(script.c_str(), 0755), 0);
    const auto failure = PluginTrial(script, 60s).failureOf("x.so");
    ASSERT_TRUE(failure);
    EXPECT_THAT(*failure, testing::StartsWith("ended the process when it was tried: status 5: y"));
    EXPECT_LT(failure->size(), 2000U);
}

}  // namespace tarn::media_framework
