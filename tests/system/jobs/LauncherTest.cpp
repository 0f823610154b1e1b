#include <regex>

#include "platform/utils/UuidGenerator.h"
#include "tests/support/MachineTime.h"
#include "tests/system/FakeJob.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace job = proto::service_job;

namespace {

using namespace std::chrono_literals;

class Launcher : public SystemTest {
  protected:
    void startWithLauncher(const std::string& path) {
        configureSections("<Paths><WorkflowLauncher>" + path + "</WorkflowLauncher></Paths>");
        startService();
    }

    void startWithFakeJobs() {
        configureSections(FakeJob::launcherSection());
        startService();
    }

    // The client has its answer before the launch; the failure is in the log, and the next request
    // is served.
    void expectFailure(const std::string& text) {
        EXPECT_TRUE(service().waitForLog("ERROR Workflow creator > " + text)) << text;
        EXPECT_TRUE(api().info());
        EXPECT_TRUE(api().jobs()->empty());
    }

    const std::string id = utils::UuidGenerator::Generate();
};

TEST_F(Launcher, thatDoesNotExistIsAFailedSetup) {
    startWithLauncher("/no/such/launcher");
    ASSERT_TRUE(api().submit({.pipeline = endless}));
    expectFailure("Failed starting external job: ");
}

TEST_F(Launcher, thatIsNotExecutableIsAFailedSetup) {
    configure("");
    startWithLauncher("/etc/TarnConfiguration.xml");
    ASSERT_TRUE(api().submit({.pipeline = endless}));
    expectFailure("Failed starting external job: ");
}

TEST_F(Launcher, thatEndsAtOnceIsAFailedSetup) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit({.pipeline = endless}));
    expectFailure("Failed starting external job: ");
}

TEST_F(Launcher, getsTheSetupOfTheJob) {
    startWithFakeJobs();
    const auto order =
        JobOrder{.pipeline = "a pipeline",
                 .id = id,
                 .name = "camera",
                 .properties = {{"b", {"1", "2"}}, {"a", {"3"}}, {"Endpoint", {"x"}}}};
    const auto given = api().submit(order);
    ASSERT_TRUE(given);
    FakeJob fake(service(), id);
    EXPECT_NE(
        fake.command().find("Creating workflow: KLN_PLUGINS=${KLN_PLUGINS}: /tmp/does-nothing"),
        std::string::npos)
        << fake.command();
    EXPECT_TRUE(fake.command().ends_with(" -d &")) << fake.command();

    const auto setup = fake.takeSetup();
    ASSERT_TRUE(setup);
    EXPECT_EQ(setup->job_description().name(), "camera");
    EXPECT_EQ(setup->job_configuration(), "a pipeline");
    EXPECT_EQ(setup->first_job_endpoint(), given->commandEndpoint);
    EXPECT_EQ(setup->second_job_endpoint(), given->eventEndpoint);
    EXPECT_EQ(setup->resources_endpoint(), "ipc:///tmp/resource");
    EXPECT_FALSE(setup->has_persistent_file_path());
    EXPECT_FALSE(setup->has_persistent_job_name());
    ASSERT_EQ(setup->resources_to_reserve_size(), 3);
    EXPECT_EQ(setup->resources_to_reserve(0).name(), "Endpoint");
    EXPECT_EQ(setup->resources_to_reserve(0).values(0), given->commandEndpoint);
    EXPECT_EQ(setup->resources_to_reserve(0).values(1), given->eventEndpoint);
    EXPECT_EQ(setup->resources_to_reserve(1).name(), "a");
    EXPECT_EQ(setup->resources_to_reserve(2).name(), "b");

    job::JobToServiceReply reply;
    reply.set_type(job::JobToServiceReply::SETUP);
    reply.set_success(true);
    fake.answer(reply);
    EXPECT_TRUE(service().waitForLog("INFO  Workflow creator > Job setup properly sent"));
}

TEST_F(Launcher, ofAPersistentJobIsLabelledWithItsName) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit(
        {.pipeline = "p", .id = id, .persistent = true, .persistentName = "keep.job"}));
    FakeJob fake(service(), "keep.job");
    const auto setup = fake.takeSetup();
    ASSERT_TRUE(setup);
    EXPECT_EQ(setup->persistent_file_path(), "/usr/share/TarnJobs/keep.job");
    EXPECT_EQ(setup->persistent_job_name(), "keep.job");
    fake.answerBytes("");
    expectFailure("Received wrong type of reply to job setup request");
}

TEST_F(Launcher, ofAPersistentJobWithoutANameGetsAFileNamedAfterTheTimeAndTheJob) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id, .name = "cam1", .persistent = true}));
    FakeJob fake(service(), id);
    const auto setup = fake.takeSetup();
    ASSERT_TRUE(setup);
    EXPECT_TRUE(std::regex_match(setup->persistent_file_path(),
                                 std::regex("/usr/share/TarnJobs/[0-9]{8}-[0-9]{6}_cam1")))
        << setup->persistent_file_path();
    EXPECT_FALSE(setup->has_persistent_job_name());
    fake.answerBytes("");
}

TEST_F(Launcher, getsNoFileWhereNoFolderForPersistentJobsIsConfigured) {
    configureSections(FakeJob::launcherSection() +
                      "<Paths><PersistentJobsFolder><none/></PersistentJobsFolder></Paths>");
    startService();
    ASSERT_TRUE(api().submit(
        {.pipeline = "p", .id = id, .persistent = true, .persistentName = "keep.job"}));
    FakeJob fake(service(), id);
    const auto setup = fake.takeSetup();
    ASSERT_TRUE(setup);
    EXPECT_FALSE(setup->has_persistent_file_path());
    EXPECT_TRUE(service().waitForLog(
        "Job cannot be set as persistent, as no persistent job folder has been configured."));
    fake.answerBytes("");
}

TEST_F(Launcher, getsNoFileForANameThatLeavesTheFolder) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit(
        {.pipeline = "p", .id = id, .persistent = true, .persistentName = "../../etc/x"}));
    FakeJob fake(service(), id);
    const auto setup = fake.takeSetup();
    ASSERT_TRUE(setup);
    EXPECT_FALSE(setup->has_persistent_file_path());
    EXPECT_TRUE(service().waitForLog("../../etc/x"));
    fake.answerBytes("");
}

TEST_F(Launcher, thatNeverAnswersHoldsAnInterruptUpForFiveSecondsAtMost) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id}));
    FakeJob fake(service(), id);
    ASSERT_TRUE(fake.takeSetup());
    const MachineTime time;
    EXPECT_EQ(service().stop(), Ending::exited(0));
    EXPECT_LT(time.elapsed(), 8s);
    EXPECT_TRUE(service().log().contains("Service terminated"));
}

TEST_F(Launcher, thatAnswersWithAnotherTypeIsReported) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id}));
    FakeJob fake(service(), id);
    ASSERT_TRUE(fake.takeSetup());
    job::JobToServiceReply reply;
    reply.set_success(true);
    fake.answer(reply);
    expectFailure("Received wrong type of reply to job setup request");
}

TEST_F(Launcher, thatRefusesIsReportedWithItsReason) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id}));
    FakeJob fake(service(), id);
    ASSERT_TRUE(fake.takeSetup());
    job::JobToServiceReply reply;
    reply.set_type(job::JobToServiceReply::SETUP);
    reply.set_success(false);
    reply.set_error_message("no such camera");
    fake.answer(reply);
    expectFailure("Job setup failed: no such camera");
}

TEST_F(Launcher, thatAnswersWithRandomBytesIsReported) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id}));
    FakeJob fake(service(), id);
    ASSERT_TRUE(fake.takeSetup());
    fake.answerBytes("\xff\xfe\x01random");
    expectFailure("Failed starting external job: ");
}

TEST_F(Launcher, thatAnswersWithTooMuchIsReported) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id}));
    FakeJob fake(service(), id);
    ASSERT_TRUE(fake.takeSetup());
    job::JobToServiceReply reply;
    reply.set_type(job::JobToServiceReply::SETUP);
    reply.set_success(false);
    reply.set_error_message(std::string(600'000, 'x'));
    fake.answer(reply);
    expectFailure("Failed starting external job: ");
}

TEST_F(Launcher, thatAnswersTooLateOrNeverHoldsTheServiceForFiveSeconds) {
    startWithFakeJobs();
    ASSERT_TRUE(api().submit({.pipeline = "p", .id = id}));
    FakeJob fake(service(), id);
    ASSERT_TRUE(fake.takeSetup());
    const MachineTime time;
    expectFailure("Failed starting external job: ");
    EXPECT_LT(time.elapsed(), 8s);
    job::JobToServiceReply late;
    late.set_type(job::JobToServiceReply::SETUP);
    late.set_success(true);
    fake.answer(late);
    EXPECT_TRUE(api().info());
    EXPECT_FALSE(service().log().contains("Job setup properly sent"));
}

}  // namespace

}  // namespace tarn::test
