#include <gmock/gmock.h>
#include <signal.h>

#include "tests/support/Eventually.h"
#include "tests/support/Process.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace {

using testing::HasSubstr;

/// The clients that stand in the documentation, as others have them: with the messages alone.
class ExamplesTest : public SystemTest {
  protected:
    /// The one that has the modules of Debian's packages.
    static constexpr auto python = "/usr/bin/python3";

    static std::unique_ptr<Process> start(const std::vector<std::string>& command) {
        const Environment environment{{"PYTHONPATH", TARN_PYTHON_MESSAGES}};
        return std::make_unique<Process>(command, environment, Process::Outputs::Apart);
    }

    static std::string example(const std::string& name) { return TARN_EXAMPLES "/" + name; }
};

class ExampleClientTest : public ExamplesTest,
                          public testing::WithParamInterface<std::vector<std::string>> {
  protected:
    static std::unique_ptr<Process> run(const std::string& pipeline) {
        auto command = GetParam();
        command.push_back(pipeline);
        return start(command);
    }
};

TEST_P(ExampleClientTest, FollowsAJobToItsEnd) {
    startService();
    const auto result =
        run("videotestsrc is-live=true num-buffers=60 ! fakesink sync=true")->wait();
    EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("TarnService"));
    EXPECT_THAT(result.out, HasSubstr("state: JOB_STATE_PLAYING"));
    EXPECT_THAT(result.out, HasSubstr("end: END_OF_STREAM"));
}

TEST_P(ExampleClientTest, IsToldWhyAJobWasRefused) {
    startService();
    const auto result = run("videotestsrc ! nosuchelement ! fakesink")->wait();
    EXPECT_EQ(result.exitStatus, 1) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("end: FAILED"));
    EXPECT_THAT(result.out, HasSubstr("nosuchelement"));
}

TEST_P(ExampleClientTest, EndsItsJobWhenItIsInterrupted) {
    startService();
    const auto client = run(endless);
    ASSERT_TRUE(client->waitForOut("JOB_STATE_PLAYING"));
    client->signal(SIGINT);
    const auto result = client->wait();
    EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("end: DESTROYED"));
    EXPECT_TRUE(eventually([] { return processesRunning("tarnPipelineProcess").empty(); }));
}

TEST_P(ExampleClientTest, NoticesAJobThatLeavesNoWord) {
    startService();
    const auto client = run(endless);
    ASSERT_TRUE(client->waitForOut("JOB_STATE_PLAYING"));
    for (const auto& launcher : processesRunning("tarnWorkflowLauncher")) {
        ::kill(launcher.id, SIGKILL);
    }
    const auto result = client->wait();
    EXPECT_EQ(result.exitStatus, 1) << result.out;
    EXPECT_THAT(result.err, HasSubstr("the job is gone and left no word"));
}

TEST_P(ExampleClientTest, SaysThatThereIsNoService) {
    const auto result = run(endless)->wait();
    EXPECT_EQ(result.exitStatus, 3) << result.out;
    EXPECT_EQ(result.err, "no answer from ipc:///tmp/requests\n");
}

INSTANTIATE_TEST_SUITE_P(
    In, ExampleClientTest,
    testing::Values(std::vector<std::string>{TARN_EXAMPLE_CLIENT},
                    std::vector<std::string>{"/usr/bin/python3", TARN_EXAMPLES "/jobs.py"}),
    [](const auto& client) { return client.param.size() == 1 ? "Cpp" : "Python"; });

TEST_F(ExamplesTest, ADeviceShowsUpInTheTreeAndCounts) {
    configureSections(
        "<TarnProtocolDevice type=\"Generic\"><MonitoringInterface>"
        "ipc:///tmp/example-device</MonitoringInterface></TarnProtocolDevice>\n");
    const auto device =
        start({python, example("device.py"), "ipc:///tmp/example-device", "clicks"});
    startService();
    const auto tree = [] { return tarnctl({"--json", "tree"}).out; };
    EXPECT_TRUE(eventually([&] { return tree().find("clicks") != std::string::npos; }));
    const auto first = tree();
    EXPECT_TRUE(eventually([&] { return tree() != first; }));  // the service asks again
    device->signal(SIGTERM);
    EXPECT_EQ(device->waitForEnd(), Ending::exited(0));
    EXPECT_TRUE(eventually([&] { return tree().find("clicks") == std::string::npos; }));
}

}  // namespace

}  // namespace tarn::test
