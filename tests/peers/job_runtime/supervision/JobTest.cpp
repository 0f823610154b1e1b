// With ScriptedPipeline in the place of the pipeline process.
#include "peers/job_runtime/supervision/Job.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

#include "peers/job_runtime/pipeline/PipelineProcess.h"
#include "peers/job_runtime/supervision/SetupAnswer.h"
#include "peers/job_runtime/supervision/StopRequest.h"
#include "platform/socket/Socket.h"
#include "proto/job_monitoring.pb.h"
#include "proto/service_job.pb.h"
#include "tests/peers/support/JobClient.h"
#include "tests/peers/support/JobEvents.h"
#include "tests/peers/support/TestService.h"
#include "tests/support/Eventually.h"
#include "tests/support/LogCapture.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using namespace tarn::proto::job_monitoring;
using tarn::os::ProcessIdentity;
using tarn::socket::ClosePolicy;
using tarn::socket::Protocol;
using tarn::socket::Socket;
using tarn::socket::SocketEndpoint;
using tarn::test::eventually;

struct JobTest : testing::Test {
    JobTest() {
        JobDescription description;
        description.set_name("a job");
        description.set_job_id("the-id");
        setup.job = {tarn::resource_manager::JobDescription(description),
                     commands,
                     events,
                     os::ProcessIdentity::ofThisProcess(),
                     {{"Endpoint", {commands, events}}}};
        setup.pipeline = "parse=parsed prepare=prepared play=playing finish=eos,exit0";
        setup.resourcesEndpoint = service.resourcesEndpoint();
    }

    /// The whole job, which is ended once it is in this state and `look` was taken at it.
    bool run(
        const std::function<void()>& look = [] {}, JobState when = JOB_STATE_PLAYING) {
        const std::jthread onlooker([&] {
            test::JobEvents told(events);
            told.waitFor([&](const JobEvent& event) {
                const bool isIt = event.GetExtension(JobEventState::base).state() == when;
                if (isIt) {
                    look();
                    stop.request(StopRequest::Wish::EndNow);
                }
                return isIt || event.type() == JobEvent::END;
            });
        });
        job.emplace(setup, nullptr, stop, "/var/log/job.log");
        SetupAnswer answer([this](const SetupVerdict& verdict) { verdicts.push_back(verdict); },
                           SetupAnswer::Clock::now());
        return job->run(answer);
    }

    static bool isFree(const std::string& endpoint) {
        try {
            Socket probe("probe", ClosePolicy::Discard);
            probe.createAndConnect(Protocol::Reply, SocketEndpoint::FromString(endpoint), 0);
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }

    test::TestService service;
    const test::LogCapture log;
    const std::string commands = service.endpointText("commands");
    const std::string events = service.endpointText("events");
    JobSetup setup;
    StopRequest stop;
    std::vector<SetupVerdict> verdicts;
    std::optional<Job> job;
};

TEST_F(JobTest, TellsWhatItIs) {
    test::JobClient::Status status;
    bool isListed = false;
    EXPECT_TRUE(run([&] {
        status = test::JobClient(commands).status();
        isListed = service.lists("the-id");
    }));
    EXPECT_EQ(status.job_description().name(), "a job");
    EXPECT_EQ(status.state(), JOB_STATE_PLAYING);
    EXPECT_EQ(status.job_configuration(), setup.pipeline);
    EXPECT_EQ(status.log_file(), "/var/log/job.log");
    EXPECT_TRUE(status.has_restarts());
    EXPECT_EQ(status.restarts(), 0U);
    EXPECT_TRUE(status.has_persistent());
    EXPECT_FALSE(status.persistent());
    EXPECT_TRUE(isListed);
    EXPECT_FALSE(service.lists("the-id"));
    ASSERT_EQ(verdicts.size(), 1U);
    EXPECT_FALSE(verdicts[0].refusal);
}

TEST_F(JobTest, OneThatComesFromAFileIsPersistentFromTheBeginning) {
    using namespace tarn::proto::service_job;
    ServiceToJobRequest request;
    request.MutableExtension(ServiceToJobRequestSetup::base)
        ->mutable_job_description()
        ->set_job_id("the-id");
    setup.persistentContent = request.SerializeAsString();
    setup.persistentFile = service.folder().write("file", setup.persistentContent);
    setup.pipeline = "parse=parsed";
    bool isPersistent = false;
    EXPECT_FALSE(run([&] { isPersistent = test::JobClient(commands).status().persistent(); },
                     JOB_STATE_STARTING));
    EXPECT_TRUE(isPersistent);
    EXPECT_TRUE(std::filesystem::exists(setup.persistentFile));
}

TEST_F(JobTest, OneThatComesBackFromAFileThatIsGoneIsRefused) {
    setup.comesBack = true;
    setup.persistentFile = service.pathOf("file");
    setup.persistentContent = "content";
    EXPECT_FALSE(run());
    ASSERT_EQ(verdicts.size(), 1U);
    EXPECT_EQ(verdicts[0].refusal, "Job is not registered: Ended for good meanwhile: job the-id");
}

TEST_F(JobTest, WithoutAResourcesEndpointItPlaysUnregistered) {
    setup.resourcesEndpoint.clear();
    bool isListed = true;
    EXPECT_TRUE(run([&] { isListed = service.lists("the-id"); }));
    EXPECT_FALSE(isListed);
    EXPECT_TRUE(log.has("WARN No resources endpoint was given: this job is not registered"));
    EXPECT_TRUE(job->close());
}

TEST_F(JobTest, AnEndpointThatIsTakenIsARefusalAndTheJobIsNeverListed) {
    Socket holder("holder", ClosePolicy::Discard);
    holder.createAndConnect(Protocol::Reply, SocketEndpoint::FromString(commands), 0);
    EXPECT_FALSE(run());
    ASSERT_EQ(verdicts.size(), 1U);
    ASSERT_TRUE(verdicts[0].refusal);
    EXPECT_NE(verdicts[0].refusal->find(commands), std::string::npos);
    EXPECT_FALSE(log.contains("State JOB_STATE_STARTING"));
    EXPECT_FALSE(service.lists("the-id"));
}

TEST_F(JobTest, GivesItsEndpointsBackWhenItIsClosed) {
    setup.pullEndpoints = {service.endpointText("pull")};
    setup.publishEndpoints = {service.endpointText("publish")};
    EXPECT_TRUE(run([&] {
        EXPECT_FALSE(isFree(setup.pullEndpoints[0]));
        EXPECT_FALSE(isFree(setup.publishEndpoints[0]));
    }));
    EXPECT_TRUE(job->close());
    for (const auto& endpoint :
         {commands, events, setup.pullEndpoints[0], setup.publishEndpoints[0]}) {
        EXPECT_TRUE(isFree(endpoint)) << endpoint;
    }
}

}  // namespace
}  // namespace tarn::peers
