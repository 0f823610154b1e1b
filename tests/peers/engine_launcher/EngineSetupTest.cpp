#include "peers/engine_launcher/EngineSetup.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "proto/service_engine.pb.h"

namespace tarn::peers {
namespace {

using namespace tarn::proto::service_engine;

struct EngineSetupTest : testing::Test {
    EngineSetupTest() {
        request.set_type(ServiceToEngineRequest::SETUP);
        setup().set_engine_name("mixer");
        setup().set_engine_settings("fakesrc ! fakesink");
        setup().set_engine_option(7);
        setup().set_first_engine_endpoint("tcp://*:5000");
        setup().set_second_engine_endpoint("tcp://*:5001");
        setup().set_third_engine_endpoint("tcp://*:5002");
        setup().set_fourth_engine_endpoint("tcp://*:5003");
        setup().set_resources_endpoint("ipc:///tmp/resource");
    }
    ServiceToEngineRequestSetup& setup() {
        return *request.MutableExtension(ServiceToEngineRequestSetup::base);
    }

    ServiceToEngineRequest request;
    const EngineSetup protocol;
};

TEST_F(EngineSetupTest, AnEngineIsAJobWithANewId) {
    const auto first = protocol.read(request);
    EXPECT_EQ(first.job.getJobDescription().getName(), "mixer");
    const auto& id = first.job.getJobDescription().getJobId();
    EXPECT_EQ(id.size(), 36U);
    EXPECT_NE(id, protocol.read(request).job.getJobDescription().getJobId());
    EXPECT_EQ(first.label, "mixer_" + id);
    EXPECT_TRUE(first.persistentFile.empty());
}

TEST_F(EngineSetupTest, SettingsAreThePipelineAndTheOptionIsInItsEnvironment) {
    const auto read = protocol.read(request);
    EXPECT_EQ(read.pipeline, "fakesrc ! fakesink");
    EXPECT_EQ(read.environment.at("ENGINE_OPTION"), "7");
}

TEST_F(EngineSetupTest, EachEndpointHasItsUse) {
    const auto read = protocol.read(request);
    EXPECT_EQ(read.job.getCommandEndpoint(), "tcp://*:5000");
    EXPECT_EQ(read.job.getEventEndpoint(), "tcp://*:5001");
    EXPECT_EQ(read.pullEndpoints, std::vector<std::string>{"tcp://*:5002"});
    EXPECT_EQ(read.publishEndpoints, std::vector<std::string>{"tcp://*:5003"});
    EXPECT_EQ(read.resourcesEndpoint, "ipc:///tmp/resource");
}

TEST_F(EngineSetupTest, RefusesWhatIsNoSetup) {
    request.clear_type();
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
    request.set_type(ServiceToEngineRequest::SETUP);
    request.ClearExtension(ServiceToEngineRequestSetup::base);
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
}

TEST_F(EngineSetupTest, RefusesAVersionAboveItsOwn) {
    setup().set_version(ServiceToEngineRequestSetup::CURRENT);
    EXPECT_NO_THROW(protocol.read(request));
    setup().set_version(ServiceToEngineRequestSetup::CURRENT + 1);
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
}

TEST_F(EngineSetupTest, RefusesBadEndpoints) {
    setup().set_fourth_engine_endpoint("nonsense");
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
    setup().set_fourth_engine_endpoint("tcp://*:5003");
    setup().set_resources_endpoint("nonsense");
    EXPECT_THROW(protocol.read(request), std::invalid_argument);
}

TEST_F(EngineSetupTest, TheAnswerCarriesTheRefusal) {
    const auto reply = protocol.makeReply({.refusal = "why", .warning = {}});
    const auto& refusal = dynamic_cast<const EngineToServiceReply&>(*reply);
    EXPECT_EQ(refusal.type(), EngineToServiceReply::SETUP);
    EXPECT_FALSE(refusal.success());
    EXPECT_EQ(refusal.error_message(), "why");
}

}  // namespace
}  // namespace tarn::peers
