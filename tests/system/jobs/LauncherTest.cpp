#include <gmock/gmock.h>

#include <optional>
#include <regex>

#include "platform/utils/UuidGenerator.h"
#include "proto/service_job.pb.h"
#include "tests/support/MachineTime.h"
#include "tests/support/peers/FakeSetupPeer.h"
#include "tests/system/harness/RawSocket.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace job = proto::service_job;

namespace {

using namespace std::chrono_literals;
using JobSetup = job::ServiceToJobRequestSetup;
using ::testing::EndsWith;
using ::testing::HasSubstr;

class LauncherTest : public SystemTest {
  protected:
    void startWithLauncher(const std::string& path) {
        configureSections("<Paths><WorkflowLauncher>" + path + "</WorkflowLauncher></Paths>");
        startService();
    }

    /// The one that is configured does nothing: the test is in the place of what it launches.
    void startWithIdleLauncher(const std::string& sections = {}) {
        configureSections(idleLauncher() + sections);
        startService();
    }

    /// Waits for the launch of a job whose command line holds `label`; the command line.
    std::string launchOf(const std::string& label) {
        const auto line = service().log().waitFor("-l " + label + " -e ");
        EXPECT_TRUE(line) << "no job was launched for " << label;
        return line.value_or("");
    }

    static std::string setupEndpointIn(const std::string& command) {
        const auto begin = command.find("ipc://", command.find(" -e "));
        return command.substr(begin, command.find(' ', begin) - begin);
    }

    /// Submits; the job that is launched takes its setup and answers with `reply`, or never.
    JobSetup launch(const JobOrder& order, const google::protobuf::Message* reply,
                    const std::string& label = {}) {
        EXPECT_TRUE(api().submit(order));
        const auto command = launchOf(label.empty() ? order.id : label);
        peer.emplace(setupEndpointIn(command), request, reply);
        EXPECT_TRUE(peer->gotRequest());
        return request.GetExtension(JobSetup::base);
    }

    static job::JobToServiceReply setupReply(bool success, const std::string& error = {}) {
        job::JobToServiceReply reply;
        reply.set_type(job::JobToServiceReply::SETUP);
        reply.set_success(success);
        if (!error.empty()) {
            reply.set_error_message(error);
        }
        return reply;
    }

    // The client has its answer before the launch; the failure is in the log, and the next request
    // is served.
    void expectFailure(const std::string& text) {
        EXPECT_TRUE(service().waitForLog("ERROR Workflow creator > " + text)) << text;
        EXPECT_TRUE(api().info());
        EXPECT_TRUE(api().jobs()->empty());
    }

    void TearDown() override {
        peer.reset();  // and its socket file
        SystemTest::TearDown();
    }

    const std::string id = utils::UuidGenerator::Generate();
    const job::JobToServiceReply nothing;  // no bytes
    job::ServiceToJobRequest request;
    std::optional<FakeSetupPeer> peer;
};

TEST_F(LauncherTest, ThatDoesNotExistIsAFailedSetup) {
    startWithLauncher("/no/such/launcher");
    ASSERT_TRUE(api().submit({.pipeline = endless}));
    expectFailure("Failed starting external job: ");
}

TEST_F(LauncherTest, ThatIsNotExecutableIsAFailedSetup) {
    configure("");
    startWithLauncher("/etc/TarnConfiguration.xml");
    ASSERT_TRUE(api().submit({.pipeline = endless}));
    expectFailure("Failed starting external job: ");
}

TEST_F(LauncherTest, ThatEndsAtOnceIsAFailedSetup) {
    startWithIdleLauncher();
    ASSERT_TRUE(api().submit({.pipeline = endless}));
    expectFailure("Failed starting external job: ");
}

TEST_F(LauncherTest, GetsTheSetupOfTheJob) {
    startWithIdleLauncher();
    const auto given =
        api().submit({.pipeline = "a pipeline",
                      .id = id,
                      .name = "camera",
                      .properties = {{"b", {"1", "2"}}, {"a", {"3"}}, {"Endpoint", {"x"}}}});
    ASSERT_TRUE(given);
    const auto command = launchOf(id);
    EXPECT_THAT(command,
                HasSubstr("Creating workflow: KLN_PLUGINS=${KLN_PLUGINS}: /tmp/does-nothing"));
    EXPECT_THAT(command, EndsWith(" -d &"));

    const auto reply = setupReply(true);
    peer.emplace(setupEndpointIn(command), request, &reply);
    ASSERT_TRUE(peer->gotRequest());
    const auto setup = request.GetExtension(JobSetup::base);
    EXPECT_EQ(setup.job_description().name(), "camera");
    EXPECT_EQ(setup.job_configuration(), "a pipeline");
    EXPECT_EQ(setup.first_job_endpoint(), given->commandEndpoint);
    EXPECT_EQ(setup.second_job_endpoint(), given->eventEndpoint);
    EXPECT_EQ(setup.resources_endpoint(), "ipc:///tmp/resource");
    EXPECT_FALSE(setup.has_persistent_file_path());
    EXPECT_FALSE(setup.has_persistent_job_name());
    ASSERT_EQ(setup.resources_to_reserve_size(), 3);
    EXPECT_EQ(setup.resources_to_reserve(0).name(), "Endpoint");
    EXPECT_EQ(setup.resources_to_reserve(0).values(0), given->commandEndpoint);
    EXPECT_EQ(setup.resources_to_reserve(0).values(1), given->eventEndpoint);
    EXPECT_EQ(setup.resources_to_reserve(1).name(), "a");
    EXPECT_EQ(setup.resources_to_reserve(2).name(), "b");
    EXPECT_TRUE(service().waitForLog("INFO  Workflow creator > Job setup properly sent"));
}

TEST_F(LauncherTest, OfAPersistentJobIsLabelledWithItsName) {
    startWithIdleLauncher();
    const auto setup =
        launch({.pipeline = "p", .id = id, .persistent = true, .persistentName = "keep.job"},
               &nothing, "keep.job");
    EXPECT_EQ(setup.persistent_file_path(), "/usr/share/TarnJobs/keep.job");
    EXPECT_EQ(setup.persistent_job_name(), "keep.job");
    expectFailure("Received wrong type of reply to job setup request");
}

TEST_F(LauncherTest, OfAPersistentJobWithoutANameGetsAFileNamedAfterTheTimeAndTheJob) {
    startWithIdleLauncher();
    const auto setup =
        launch({.pipeline = "p", .id = id, .name = "cam1", .persistent = true}, &nothing);
    EXPECT_TRUE(std::regex_match(setup.persistent_file_path(),
                                 std::regex("/usr/share/TarnJobs/[0-9]{8}-[0-9]{6}_cam1")))
        << setup.persistent_file_path();
    EXPECT_FALSE(setup.has_persistent_job_name());
}

TEST_F(LauncherTest, GetsNoFileWhereNoFolderForPersistentJobsIsConfigured) {
    startWithIdleLauncher("<Paths><PersistentJobsFolder><none/></PersistentJobsFolder></Paths>");
    const auto setup = launch(
        {.pipeline = "p", .id = id, .persistent = true, .persistentName = "keep.job"}, &nothing);
    EXPECT_FALSE(setup.has_persistent_file_path());
    EXPECT_TRUE(service().waitForLog(
        "Job cannot be set as persistent, as no persistent job folder has been configured."));
}

TEST_F(LauncherTest, GetsNoFileForANameThatLeavesTheFolder) {
    startWithIdleLauncher();
    const auto setup = launch(
        {.pipeline = "p", .id = id, .persistent = true, .persistentName = "../../etc/x"}, &nothing);
    EXPECT_FALSE(setup.has_persistent_file_path());
    EXPECT_TRUE(service().waitForLog("../../etc/x"));
}

TEST_F(LauncherTest, ThatNeverAnswersHoldsAnInterruptUpForFiveSecondsAtMost) {
    startWithIdleLauncher();
    launch({.pipeline = "p", .id = id}, nullptr);
    const MachineTime time;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), 8s);
    EXPECT_TRUE(service().log().contains("Service terminated"));
}

TEST_F(LauncherTest, ThatAnswersWithAnotherTypeIsReported) {
    startWithIdleLauncher();
    job::JobToServiceReply reply;
    reply.set_success(true);
    launch({.pipeline = "p", .id = id}, &reply);
    expectFailure("Received wrong type of reply to job setup request");
}

TEST_F(LauncherTest, ThatRefusesIsReportedWithItsReason) {
    startWithIdleLauncher();
    const auto reply = setupReply(false, "no such camera");
    launch({.pipeline = "p", .id = id}, &reply);
    expectFailure("Job setup failed: no such camera");
}

TEST_F(LauncherTest, ThatAnswersWithRandomBytesIsReported) {
    startWithIdleLauncher();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id}));
    RawSocket raw(RawSocket::Kind::Reply);
    raw.bind(setupEndpointIn(launchOf(id)));
    ASSERT_TRUE(raw.receive(5s));
    raw.send({"\xff\xfe\x01random"});
    expectFailure("Failed starting external job: ");
}

TEST_F(LauncherTest, ThatAnswersWithTooMuchIsReported) {
    startWithIdleLauncher();
    const auto reply = setupReply(false, std::string(600'000, 'x'));
    launch({.pipeline = "p", .id = id}, &reply);
    expectFailure("Failed starting external job: ");
}

TEST_F(LauncherTest, ThatAnswersTooLateOrNeverHoldsTheServiceForFiveSeconds) {
    startWithIdleLauncher();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id}));
    RawSocket late(RawSocket::Kind::Reply);
    late.bind(setupEndpointIn(launchOf(id)));
    ASSERT_TRUE(late.receive(5s));
    const MachineTime time;
    expectFailure("Failed starting external job: ");
    EXPECT_LT(time.elapsed(), 8s);
    late.send({setupReply(true).SerializeAsString()});
    EXPECT_TRUE(api().info());
    EXPECT_FALSE(service().log().contains("Job setup properly sent"));
}

}  // namespace

}  // namespace tarn::test
