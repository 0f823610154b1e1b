#include "platform/os/ServiceManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/peers/DatagramReceiver.h"

namespace tarn::os {

using namespace std::chrono_literals;

namespace {

class ServiceManagerTest : public testing::Test {
  protected:
    void TearDown() override {
        for (const auto name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
            ::unsetenv(name);
        }
    }

    ServiceManager watched(const std::string& microseconds, const std::string& process) const {
        ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
        ::setenv("WATCHDOG_USEC", microseconds.c_str(), 1);
        ::setenv("WATCHDOG_PID", process.c_str(), 1);
        return ServiceManager::takenFromEnvironment();
    }

    /// What was told, up to the end that this test tells itself.
    std::string toldBy(ServiceManager& manager) const {
        std::string all;
        EXPECT_TRUE(manager.stopping());
        for (auto next = receiver.next(); next != "STOPPING=1"; next = receiver.next()) {
            all += next + " ";
        }
        return all;
    }

    const test::TemporaryFolder folder;
    const std::string path = (folder.path() / "notify").string();
    const test::DatagramReceiver receiver{path};
    const std::string own = std::to_string(::getpid());
    const ServiceManager::Clock::time_point start{1h};
};

}  // namespace

TEST_F(ServiceManagerTest, IsNobodyWhereTheEnvironmentNamesNone) {
    auto manager = ServiceManager::takenFromEnvironment();
    EXPECT_TRUE(manager.ready());
    EXPECT_TRUE(manager.alive(start));
    EXPECT_TRUE(manager.stopping());
}

TEST_F(ServiceManagerTest, IsToldThatTheProcessIsReady) {
    auto manager = watched("", "");
    EXPECT_TRUE(manager.ready());
    EXPECT_EQ(toldBy(manager), "READY=1 ");
}

TEST_F(ServiceManagerTest, IsNotNamedToWhatTheProcessStarts) {
    watched("1000000", own);
    for (const auto name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
        EXPECT_EQ(std::getenv(name), nullptr) << name;
    }
}

TEST_F(ServiceManagerTest, HearsOfLifeFourTimesInTheTimeThatItWaits) {
    auto manager = watched("4000000", own);
    EXPECT_TRUE(manager.alive(start));
    EXPECT_TRUE(manager.alive(start + 999ms));
    EXPECT_TRUE(manager.alive(start + 1s));
    EXPECT_TRUE(manager.alive(start + 1999ms));
    EXPECT_EQ(toldBy(manager), "WATCHDOG=1 WATCHDOG=1 ");
}

TEST_F(ServiceManagerTest, HearsNothingOfLifeWhereItDoesNotWatchThisProcess) {
    for (const auto& [time, process] : {std::pair<std::string, std::string>{"", ""},
                                        {"0", own},
                                        {"-1", own},
                                        {"4s", own},
                                        {"4000000", "1"}}) {
        auto manager = watched(time, process);
        EXPECT_TRUE(manager.alive(start));
        EXPECT_EQ(toldBy(manager), "") << time;
    }
}

TEST_F(ServiceManagerTest, ThatCannotBeReachedIsAFailureWithItsReason) {
    for (const auto& nowhere : {(folder.path() / "none").string(), std::string(300, 'x')}) {
        ::setenv("NOTIFY_SOCKET", nowhere.c_str(), 1);
        const auto manager = ServiceManager::takenFromEnvironment();
        errno = 0;
        EXPECT_FALSE(manager.ready());
        EXPECT_NE(errno, 0);
    }
}

}  // namespace tarn::os
