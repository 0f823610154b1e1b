#include <gmock/gmock.h>

#include <memory>

#include "proto/service_job.pb.h"
#include "tests/service/api/ApiBed.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace tarn::service {

using namespace tarn::proto::api_service;
using tarn::proto::service_job::JobToServiceReply;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr auto jobsFolder = "<Paths><PersistentJobsFolder>/var/jobs</PersistentJobsFolder></Paths>";

class JobSubmissionTest : public testing::Test {
  protected:
    JobSubmissionTest() {
        jobReply.set_type(JobToServiceReply::SETUP);
        jobReply.set_success(true);
        submission.mutable_job_description()->set_name("cam1");
        submission.mutable_job_description()->set_job_id("uuid-1");
        submission.set_job_configuration("a ! b");
    }

    void begin(const std::string& sections = {},
               const std::string& requests = test::uniqueEndpoint()) {
        bed = std::make_unique<test::ApiBed>(sections);
        bed->onCommand([this](const std::string& command) {
            job = std::make_unique<test::FakeSetupPeer>(test::argumentAfter(command, "-e"),
                                                        setupRequest, &jobReply);
        });
        bed->start(requests);
    }

    ServiceToApiReply submit() { return bed->ask(request()); }

    ApiToServiceRequest request() const {
        ApiToServiceRequest request;
        request.set_type(ApiToServiceRequest::JOB_SUBMISSION);
        *request.MutableExtension(ApiToServiceRequestJobSubmission::base) = submission;
        return request;
    }

    /// What the job was given.
    const ServiceToJobRequestSetup& setup() {
        bed->settle();
        EXPECT_TRUE(job && job->gotRequest());
        return *setupRequest.MutableExtension(ServiceToJobRequestSetup::base);
    }

    std::unique_ptr<test::ApiBed> bed;
    ApiToServiceRequestJobSubmission submission;
    ServiceToJobRequest setupRequest;
    JobToServiceReply jobReply;
    std::unique_ptr<test::FakeSetupPeer> job;
};

TEST_F(JobSubmissionTest, TellsTheClientTheEndpointsThatTheJobGets) {
    begin();
    auto reply = submit();
    EXPECT_EQ(reply.type(), ServiceToApiReply::JOB_SUBMISSION);
    EXPECT_TRUE(reply.success());
    const auto& answer = *reply.MutableExtension(ServiceToApiReplyJobSubmission::base);
    EXPECT_EQ(setup().first_job_endpoint(), answer.first_job_endpoint());
    EXPECT_EQ(setup().second_job_endpoint(), answer.second_job_endpoint());
    EXPECT_NE(answer.first_job_endpoint(), answer.second_job_endpoint());
}

TEST_F(JobSubmissionTest, AnswersBeforeItLaunches) {
    begin();
    std::promise<void> answered;
    bed->onCommand([&](const std::string&) { answered.get_future().wait(); });
    EXPECT_TRUE(submit().success());
    answered.set_value();
    EXPECT_TRUE(bed->log.waitFor("Failed starting external job: "));
}

TEST_F(JobSubmissionTest, HandsOnDescriptionConfigurationAndProperties) {
    begin();
    auto addProperty = [this](const std::string& name, const std::vector<std::string>& values) {
        auto& property = *submission.add_properties();
        property.set_name(name);
        property.mutable_values()->Add(values.begin(), values.end());
    };
    addProperty("a", {"1"});
    addProperty("empty", {});
    addProperty("a", {"2", "3"});
    submit();
    EXPECT_EQ(setup().job_description().name(), "cam1");
    EXPECT_EQ(setup().job_configuration(), "a ! b");
    ASSERT_EQ(setup().resources_to_reserve_size(), 2);
    EXPECT_EQ(setup().resources_to_reserve(1).name(), "a");
    EXPECT_THAT(setup().resources_to_reserve(1).values(), ElementsAre("1", "2", "3"));
}

TEST_F(JobSubmissionTest, NamesThePersistentFileAfterTimeAndJob) {
    begin(jobsFolder);
    bed->wallClock = 1709644029;
    const std::time_t then = bed->wallClock;
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", std::localtime(&then));
    submission.set_persistent(true);
    submit();
    EXPECT_EQ(setup().persistent_file_path(), "/var/jobs/" + std::string(stamp) + "_cam1");
    EXPECT_FALSE(setup().has_persistent_job_name());
}

TEST_F(JobSubmissionTest, NamesThePersistentFileAsTheClientWants) {
    begin(jobsFolder);
    submission.set_persistent(true);
    submission.set_persistent_job_name("keep.job");
    submit();
    EXPECT_EQ(setup().persistent_file_path(), "/var/jobs/keep.job");
    EXPECT_EQ(setup().persistent_job_name(), "keep.job");
}

TEST_F(JobSubmissionTest, KeepsNoFileForAJobThatIsNotPersistent) {
    begin(jobsFolder);
    submission.set_persistent(false);
    submission.set_persistent_job_name("keep.job");
    submit();
    EXPECT_FALSE(setup().has_persistent_file_path());
    EXPECT_FALSE(setup().has_persistent_job_name());
}

TEST_F(JobSubmissionTest, LaunchesWithoutPersistenceWhereNoFolderIsConfigured) {
    begin("<Paths><PersistentJobsFolder><![CDATA[]]></PersistentJobsFolder></Paths>");
    ASSERT_EQ(bed->configuration.getPersistentJobsFolder(), "");
    submission.set_persistent(true);
    submit();
    EXPECT_FALSE(setup().has_persistent_file_path());
    EXPECT_TRUE(
        bed->log.has("ERROR Api requests handler > Job cannot be set as persistent, as no "
                     "persistent job folder has been configured."));
}

TEST_F(JobSubmissionTest, LaunchesWithoutPersistenceUnderANameThatLeavesTheFolder) {
    begin(jobsFolder);
    submission.set_persistent(true);
    submission.set_persistent_job_name("../../etc/x");
    submit();
    EXPECT_FALSE(setup().has_persistent_file_path());
    EXPECT_THAT(bed->commands().at(0), HasSubstr("-l uuid-1 "));
    EXPECT_TRUE(bed->log.contains("Job cannot be set as persistent, as \"../../etc/x\" is not"));
}

TEST_F(JobSubmissionTest, LaunchesWithoutPersistenceUnderANameThatBeginsWithADot) {
    begin(jobsFolder);
    submission.set_persistent(true);
    submission.set_persistent_job_name(".incomplete");
    submit();
    EXPECT_FALSE(setup().has_persistent_file_path());
    EXPECT_TRUE(
        bed->log.has("ERROR Api requests handler > Job cannot be set as persistent, as "
                     "\".incomplete\" begins with a dot"));
}

TEST_F(JobSubmissionTest, KeepsAFileInTheFolderWhateverTheJobIsCalled) {
    begin(jobsFolder);
    submission.set_persistent(true);
    submission.mutable_job_description()->set_name("/../../etc/x");
    submit();
    EXPECT_THAT(setup().persistent_file_path(),
                AllOf(StartsWith("/var/jobs/"), EndsWith("__.._.._etc_x")));
    EXPECT_FALSE(bed->log.contains("Job cannot be set as persistent"));
}

TEST_F(JobSubmissionTest, GivesNoAnswerWhenThePortsAreUsedUp) {
    begin(R"(<Resources><TcpPorts interface="127.0.0.1" from="1" to="1"/></Resources>)",
          test::freeTcpEndpoint());
    bed->client.setTimeout(std::chrono::milliseconds(300));
    EXPECT_THROW(submit(), std::runtime_error);
    EXPECT_TRUE(
        bed->log.waitFor("ERROR Api requests handler > Cannot submit job: Workflow creator > No "
                         "endpoint available"));
    EXPECT_TRUE(bed->log.waitFor(
        "WARN Api requests handler > Of the ports 1 to 1 of 127.0.0.1 1 were given out lately"));
    bed->client.setTimeout(std::chrono::seconds(5));
    bed->settle();
    EXPECT_THAT(bed->commands(), ElementsAre());
}

}  // namespace tarn::service
