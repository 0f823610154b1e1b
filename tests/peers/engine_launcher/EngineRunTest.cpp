#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "platform/socket/Socket.h"
#include "proto/service_engine.pb.h"
#include "tests/peers/support/JobClient.h"
#include "tests/peers/support/JobEvents.h"
#include "tests/peers/support/TestService.h"
#include "tests/support/Process.h"

namespace tarn::test {
namespace {

using namespace tarn::proto::service_engine;
using namespace tarn::proto::job_monitoring;
using tarn::socket::SocketEndpoint;

struct EngineRunTest : testing::Test {
    EngineRunTest() {
        request.set_type(ServiceToEngineRequest::SETUP);
        setup().set_engine_name("mixer/1");
        setup().set_engine_settings("videotestsrc is-live=true ! fakesink");
        setup().set_engine_option(7);
        setup().set_first_engine_endpoint(service.endpointText("first"));
        setup().set_second_engine_endpoint(service.endpointText("second"));
        setup().set_third_engine_endpoint(service.endpointText("third"));
        setup().set_fourth_engine_endpoint(service.endpointText("fourth"));
        setup().set_resources_endpoint(service.resourcesEndpoint());
        auto* const resource = setup().add_resources_to_reserve();
        resource->set_name("Endpoint");
        for (const auto* name : {"first", "second", "third", "fourth"}) {
            resource->add_values(service.endpointText(name));
        }
    }
    ServiceToEngineRequestSetup& setup() {
        return *request.MutableExtension(ServiceToEngineRequestSetup::base);
    }
    EngineToServiceReply launch() {
        launcher = std::make_unique<Process>(std::vector<std::string>{
            builtProgram("tarnEngineLauncher"), "-e", service.endpointText("setup"), "--log-folder",
            service.pathOf("log")});
        EngineToServiceReply reply;
        ask(service.endpointText("setup"), request, reply);
        return reply;
    }
    std::string engineId() const { return client.status().job_description().job_id(); }

    TestService service;
    ServiceToEngineRequest request;
    const JobClient client{service.endpointText("first")};
    JobEvents events{service.endpointText("second")};
    std::unique_ptr<Process> launcher;
};

TEST_F(EngineRunTest, AnEngineRunsUntilItIsDestroyed) {
    const auto reply = launch();
    EXPECT_EQ(reply.type(), EngineToServiceReply::SETUP);
    EXPECT_TRUE(reply.success()) << reply.error_message();
    EXPECT_TRUE(events.waitForState(JOB_STATE_PLAYING));
    EXPECT_TRUE(client.destroy().success());
    const auto end = events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), JobEventEnd::DESTROYED);
    EXPECT_EQ(launcher->waitForEnd(), Ending::exited(0));
    for (const auto* name : {"setup", "first", "second", "third", "fourth"}) {
        EXPECT_FALSE(std::filesystem::exists(service.pathOf(name))) << name;
    }
}

TEST_F(EngineRunTest, AnEngineIsListedWithItsFourEndpoints) {
    ASSERT_TRUE(launch().success());
    const auto job = service.job(engineId());
    EXPECT_EQ(job.getJobDescription().getName(), "mixer/1");
    EXPECT_EQ(job.getResources().at("Endpoint").size(), 4U);
}

TEST_F(EngineRunTest, ItsEndpointsAreTakenAndWhatArrivesIsDropped) {
    ASSERT_TRUE(launch().success());
    for (const auto* name : {"third", "fourth"}) {
        tarn::socket::Socket other("Other", tarn::socket::ClosePolicy::Discard);
        EXPECT_THROW(
            other.createAndConnect(tarn::socket::Protocol::Pull,
                                   SocketEndpoint::FromString(service.endpointText(name)), 0),
            std::runtime_error);
    }
    tarn::socket::Socket sender("Sender", tarn::socket::ClosePolicy::Flush);
    sender.createAndConnect(tarn::socket::Protocol::Push,
                            SocketEndpoint::FromString(service.endpointText("third")), 5000);
    sender.sendProtoBuf(&request);
    EXPECT_TRUE(events.waitForState(JOB_STATE_PLAYING));
}

TEST_F(EngineRunTest, TheOptionIsInItsLogWhichIsNamedAfterIt) {
    ASSERT_TRUE(launch().success());
    EXPECT_TRUE(events.waitForState(JOB_STATE_PLAYING));
    const auto log = readFile(client.status().log_file());
    EXPECT_NE(log.find("With ENGINE_OPTION=7"), std::string::npos);
    EXPECT_EQ(client.status().log_file(),
              service.pathOf("log") + "/mixer%2F1_" + engineId() + ".log");
}

TEST_F(EngineRunTest, WithoutAResourcesEndpointItRunsUnregistered) {
    setup().clear_resources_endpoint();
    ASSERT_TRUE(launch().success());
    EXPECT_TRUE(events.waitForState(JOB_STATE_PLAYING));
    EXPECT_FALSE(service.lists(engineId()));
    EXPECT_NE(readFile(client.status().log_file()).find("not registered"), std::string::npos);
    client.destroy();
    EXPECT_EQ(launcher->waitForEnd(), Ending::exited(0));
}

TEST_F(EngineRunTest, SettingsThatAreNoPipelineAreRefused) {
    setup().set_engine_settings("nosuchelement");
    const auto reply = launch();
    EXPECT_EQ(reply.type(), EngineToServiceReply::SETUP);
    const auto end = events.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_NE(end->message().find("nosuchelement"), std::string::npos);
    if (!reply.success()) {  // a busy machine may need longer than the answer may take
        EXPECT_EQ(reply.error_message(), end->message());
    }
    EXPECT_EQ(launcher->waitForEnd(), Ending::exited(1));
}

}  // namespace
}  // namespace tarn::test
