#include <signal.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

/// A service whose log goes to another program, in a shell that notes how the service ended.
class LogReaderTest : public SystemTest {
  protected:
    void startServiceInto(const std::string& reader) {
        const auto command = std::string("{ ") + Service::program + "; echo $? > " + statusFile +
                             "; } 2>&1 | " + reader;
        shell = std::make_unique<Process>(std::vector<std::string>{"sh", "-c", command});
        ASSERT_TRUE(eventually([this] { return api().info().has_value(); }));
    }

    void interruptService() {
        for (const auto& found : processesRunning(Service::program)) {
            if (found.command.starts_with(Service::program)) {
                ::kill(found.id, SIGINT);
            }
        }
    }

    /// Empty while it runs.
    static std::string serviceStatus() {
        std::string status;
        std::ifstream(statusFile) >> status;
        return status;
    }

    void TearDown() override {
        for (const auto& reader : processesRunning("sleep 1000")) {
            ::kill(reader.id, SIGKILL);
        }
        shell->waitForEnd(std::chrono::seconds(20));
        SystemTest::TearDown();
    }

    static constexpr auto statusFile = "/tmp/status-of-the-service";
    std::unique_ptr<Process> shell;
};

TEST_F(LogReaderTest, ThatGoesLeavesTheServiceRunningAndStoppable) {
    startServiceInto("head -n 1");
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(api().info());  // logs some lines
    }
    const auto job = startJob({.pipeline = endless});
    interruptService();
    EXPECT_TRUE(eventually([] { return !serviceStatus().empty(); }, std::chrono::seconds(30)));
    EXPECT_EQ(serviceStatus(), "0");
    EXPECT_TRUE(job->waitForEnd());
}

TEST_F(LogReaderTest, ThatNeverReadsHoldsNobodyUp) {
    startServiceInto("sleep 1000");
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(api().info()) << "after " << i << " requests";
    }
    const auto job = startJob({.pipeline = endless});
    interruptService();
    EXPECT_TRUE(eventually([] { return !serviceStatus().empty(); }, std::chrono::seconds(30)));
    EXPECT_EQ(serviceStatus(), "0");
    EXPECT_TRUE(job->waitForEnd());
}

}  // namespace

}  // namespace tarn::test
