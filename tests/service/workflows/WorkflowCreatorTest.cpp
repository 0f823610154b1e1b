#include "service/workflows/WorkflowCreator.h"

#include <gmock/gmock.h>

#include <memory>

#include "proto/service_job.pb.h"
#include "tests/service/support/ServiceBed.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace tarn::service {

using tarn::proto::service_job::JobToServiceReply;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;
using testing::ElementsAre;
using testing::HasSubstr;

class CreatingAWorkflowTest : public testing::Test {
  protected:
    CreatingAWorkflowTest() {
        description.set_name("cam1");
        description.set_job_id("uuid-1");
        reply.set_type(JobToServiceReply::SETUP);
        reply.set_success(true);
    }

    /// The launcher comes up and answers with `reply`.
    void jobAnswers() {
        bed.onCommand([this](const std::string&) {
            job = std::make_unique<test::FakeSetupPeer>(ipcEndpoint, request, &reply);
        });
    }

    bool create(const WorkflowCreator::Properties& properties = {}) {
        return bed.workflows.createWorkflow(ipcEndpoint, "ipc:///tmp/first", "ipc:///tmp/second",
                                            description, properties, "a ! b", filePath, jobName);
    }

    const ServiceToJobRequestSetup& setup() {
        EXPECT_TRUE(job && job->gotRequest());
        return *request.MutableExtension(ServiceToJobRequestSetup::base);
    }

    test::ServiceBed bed{
        "<KLN><Plugin>/a.so</Plugin><Plugin>/b.so</Plugin></KLN>"
        "<Paths><WorkflowLauncher>/opt/launcher</WorkflowLauncher></Paths>"};
    const std::string ipcEndpoint = test::uniqueEndpoint();
    tarn::proto::job_monitoring::JobDescription description;
    std::string filePath;
    std::string jobName;
    ServiceToJobRequest request;
    JobToServiceReply reply;
    std::unique_ptr<test::FakeSetupPeer> job;
};

TEST_F(CreatingAWorkflowTest, LaunchesItUnderItsUuid) {
    jobAnswers();
    EXPECT_TRUE(create());
    const auto command = "KLN_PLUGINS=${KLN_PLUGINS}:/a.so:/b.so: /opt/launcher -l uuid-1 -e " +
                         ipcEndpoint + " -d &";
    EXPECT_THAT(bed.commands(), ElementsAre(command));
    EXPECT_TRUE(bed.log.has("INFO Workflow creator > Creating workflow: " + command));
    EXPECT_TRUE(bed.log.has("INFO Workflow creator > Job setup properly sent"));
}

TEST_F(CreatingAWorkflowTest, LaunchesAPersistentOneUnderItsNameIfItHasOne) {
    jobAnswers();
    filePath = "/jobs/keep.job";
    jobName = "keep.job";
    EXPECT_TRUE(create());
    EXPECT_THAT(bed.commands().at(0), HasSubstr(" -l keep.job -e "));
    EXPECT_EQ(setup().persistent_file_path(), "/jobs/keep.job");
    EXPECT_EQ(setup().persistent_job_name(), "keep.job");
}

TEST_F(CreatingAWorkflowTest, LaunchesAPersistentOneWithoutANameUnderItsUuid) {
    jobAnswers();
    filePath = "/jobs/20240305-140709_cam1";
    EXPECT_TRUE(create());
    EXPECT_THAT(bed.commands().at(0), HasSubstr(" -l uuid-1 -e "));
    EXPECT_FALSE(setup().has_persistent_job_name());
}

TEST_F(CreatingAWorkflowTest, SendsTheWholeSetup) {
    jobAnswers();
    EXPECT_TRUE(create({{"b", {"2", "1"}}, {"a", {"x"}}}));
    EXPECT_EQ(request.type(), ServiceToJobRequest::SETUP);
    EXPECT_EQ(setup().job_description().name(), "cam1");
    EXPECT_EQ(setup().job_configuration(), "a ! b");
    EXPECT_EQ(setup().first_job_endpoint(), "ipc:///tmp/first");
    EXPECT_EQ(setup().second_job_endpoint(), "ipc:///tmp/second");
    EXPECT_EQ(setup().resources_endpoint(), bed.configuration.getResourcesEndpoint());
    EXPECT_FALSE(setup().has_persistent_file_path());
    EXPECT_FALSE(setup().has_persistent_job_name());
    ASSERT_EQ(setup().resources_to_reserve_size(), 3);
    EXPECT_EQ(setup().resources_to_reserve(0).name(), "Endpoint");
    EXPECT_THAT(setup().resources_to_reserve(0).values(),
                ElementsAre("ipc:///tmp/first", "ipc:///tmp/second"));
    EXPECT_EQ(setup().resources_to_reserve(1).name(), "a");
    EXPECT_EQ(setup().resources_to_reserve(2).name(), "b");
    EXPECT_THAT(setup().resources_to_reserve(2).values(), ElementsAre("2", "1"));
}

TEST_F(CreatingAWorkflowTest, ReplacesAPropertyNamedEndpoint) {
    jobAnswers();
    EXPECT_TRUE(create({{"Endpoint", {"tcp://stolen:1"}}}));
    ASSERT_EQ(setup().resources_to_reserve_size(), 1);
    EXPECT_THAT(setup().resources_to_reserve(0).values(),
                ElementsAre("ipc:///tmp/first", "ipc:///tmp/second"));
}

TEST_F(CreatingAWorkflowTest, TracesTheRequestWhereTheReplyWouldBeExpected) {
    jobAnswers();
    create();
    job->gotRequest();
    EXPECT_TRUE(bed.log.has("INFO Workflow creator > Sending " + request.DebugString()));
    EXPECT_TRUE(bed.log.has("TRACE Workflow creator > Received " + request.DebugString()));
}

TEST_F(CreatingAWorkflowTest, RefusesAUuidThatRuns) {
    bed.registerJob("uuid-1", "ipc:///tmp/somewhere");
    EXPECT_FALSE(create());
    EXPECT_THAT(bed.commands(), ElementsAre());
    EXPECT_TRUE(bed.log.has(
        "WARN Workflow creator > Will not (re)create job with UUID uuid-1: already running"));
    EXPECT_FALSE(bed.log.contains("without an id"));
}

TEST_F(CreatingAWorkflowTest, RefusesAJobWithoutAUuid) {
    description.clear_job_id();
    EXPECT_FALSE(create());
    EXPECT_THAT(bed.commands(), ElementsAre());
    EXPECT_TRUE(
        bed.log.has("WARN Workflow creator > Will not (re)create job with UUID : already running"));
    EXPECT_TRUE(
        bed.log.has("ERROR Workflow creator > A job without an id cannot be run: none was given"));
}

TEST_F(CreatingAWorkflowTest, GoesOnWithoutTheResourceManager) {
    jobAnswers();
    std::string ignored;
    bed.proxy.disconnect(ignored);
    EXPECT_TRUE(create());
    EXPECT_EQ(bed.commands().size(), 1u);
    EXPECT_TRUE(bed.log.contains("ERROR Workflow creator > Failed to get running jobs by uuid: "));
}

TEST_F(CreatingAWorkflowTest, ReportsAReplyOfAnotherType) {
    reply.clear_type();
    jobAnswers();
    EXPECT_FALSE(create());
    EXPECT_TRUE(
        bed.log.has("ERROR Workflow creator > Received wrong type of reply to job setup request"));
}

TEST_F(CreatingAWorkflowTest, ReportsARefusedSetup) {
    reply.set_success(false);
    reply.set_error_message("no element \"b\"");
    jobAnswers();
    EXPECT_FALSE(create());
    EXPECT_TRUE(bed.log.has("ERROR Workflow creator > Job setup failed: no element \"b\""));
}

TEST_F(CreatingAWorkflowTest, ReportsWhatAnAcceptedJobLacks) {
    reply.set_warning("not persistent: the disk is full");
    jobAnswers();
    EXPECT_TRUE(create());
    EXPECT_TRUE(bed.log.has("INFO Workflow creator > Job setup properly sent"));
    EXPECT_TRUE(
        bed.log.has("WARN Workflow creator > Job uuid-1: not persistent: the disk is full"));
}

TEST_F(CreatingAWorkflowTest, CountsALauncherThatNeverAppearsAsStarted) {
    EXPECT_TRUE(create());
    EXPECT_TRUE(bed.log.contains("ERROR Workflow creator > Failed starting external job: "));
    EXPECT_TRUE(bed.log.contains("nobody answered on " + ipcEndpoint + " within 2000 ms"));
}

TEST_F(CreatingAWorkflowTest, QuotesWhatAClientNamed) {
    jobAnswers();
    description.set_job_id("x; touch /tmp/hit\n$(id)");
    EXPECT_TRUE(create());
    EXPECT_THAT(bed.commands().at(0), HasSubstr(" -l 'x; touch /tmp/hit\n$(id)' -e ipc"));
    EXPECT_TRUE(bed.log.contains("-l 'x; touch /tmp/hit\\n$(id)' -e ipc"));  // one line in the log
}

TEST_F(CreatingAWorkflowTest, DoesNotLaunchWhatNoCommandCanHold) {
    description.set_job_id(std::string("a\0b", 3));
    EXPECT_TRUE(create());
    EXPECT_THAT(bed.commands(), ElementsAre());
    EXPECT_TRUE(bed.log.contains("Failed starting external job: a NUL byte"));
}

}  // namespace tarn::service
