#include <gmock/gmock.h>

#include <memory>

#include "proto/service_engine.pb.h"
#include "tests/service/api/ApiBed.h"
#include "tests/support/peers/FakeSetupPeer.h"

namespace tarn::service {

using namespace tarn::proto::api_service;
using tarn::proto::service_engine::EngineToServiceReply;
using tarn::proto::service_engine::ServiceToEngineRequest;
using tarn::proto::service_engine::ServiceToEngineRequestSetup;
using testing::ElementsAre;

class EngineSubmissionTest : public testing::Test {
  protected:
    EngineSubmissionTest() {
        engineReply.set_type(EngineToServiceReply::SETUP);
        submission.set_engine_name("mixer");
        submission.set_engine_settings("a ! b");
        submission.set_engine_option(7);
        bed.onCommand([this](const std::string& command) {
            engine = std::make_unique<test::FakeSetupPeer>(test::argumentAfter(command, "-e"),
                                                           setupRequest, &engineReply);
        });
    }

    ServiceToApiReply submit() {
        ApiToServiceRequest request;
        request.set_type(ApiToServiceRequest::ENGINE_SUBMISSION);
        *request.MutableExtension(ApiToServiceRequestEngineSubmission::base) = submission;
        return bed.ask(request);
    }

    const ServiceToEngineRequestSetup& setup() {
        bed.settle();
        EXPECT_TRUE(engine && engine->gotRequest());
        return *setupRequest.MutableExtension(ServiceToEngineRequestSetup::base);
    }

    test::ApiBed bed{
        "<KLN><Plugin>/a.so</Plugin></KLN><Paths><EngineLauncher>/opt/engine</EngineLauncher></"
        "Paths>"
        "<Resources><TcpPorts interface=\"127.0.0.1\" from=\"1\" to=\"3\"/></Resources>"};
    ApiToServiceRequestEngineSubmission submission;
    ServiceToEngineRequest setupRequest;
    EngineToServiceReply engineReply;
    std::unique_ptr<test::FakeSetupPeer> engine;
};

TEST_F(EngineSubmissionTest, TellsTheClientTheFourEndpointsThatTheEngineGets) {
    bed.start();
    auto reply = submit();
    EXPECT_EQ(reply.type(), ServiceToApiReply::ENGINE_SUBMISSION);
    EXPECT_TRUE(reply.success());
    const auto& answer = *reply.MutableExtension(ServiceToApiReplyEngineSubmission::base);
    setup();
    EXPECT_EQ(setupRequest.type(), ServiceToEngineRequest::SETUP);
    EXPECT_EQ(setup().first_engine_endpoint(), answer.first_engine_endpoint());
    EXPECT_EQ(setup().second_engine_endpoint(), answer.second_engine_endpoint());
    EXPECT_EQ(setup().third_engine_endpoint(), answer.third_engine_endpoint());
    EXPECT_EQ(setup().fourth_engine_endpoint(), answer.fourth_engine_endpoint());
    ASSERT_EQ(setup().resources_to_reserve_size(), 1);
    EXPECT_EQ(setup().resources_to_reserve(0).name(), "Endpoint");
    EXPECT_THAT(setup().resources_to_reserve(0).values(),
                ElementsAre(answer.first_engine_endpoint(), answer.second_engine_endpoint(),
                            answer.third_engine_endpoint(), answer.fourth_engine_endpoint()));
}

TEST_F(EngineSubmissionTest, LaunchesTheEngineAndHandsOnItsSettings) {
    bed.start();
    submit();
    EXPECT_EQ(setup().engine_name(), "mixer");
    EXPECT_EQ(setup().engine_settings(), "a ! b");
    EXPECT_EQ(setup().engine_option(), 7);
    const auto command = bed.commands().at(0);
    EXPECT_EQ(command, "KLN_PLUGINS=${KLN_PLUGINS}:/a.so: /opt/engine -e " +
                           test::argumentAfter(command, "-e") + " -d &");
    EXPECT_TRUE(bed.log.has("INFO Api requests handler > Starting engine: " + command));
    EXPECT_TRUE(bed.log.has("INFO Api requests handler > Job setup properly sent"));
    EXPECT_FALSE(bed.log.contains("refused"));
    EXPECT_TRUE(bed.log.has("TRACE Api requests handler > Sending " + setupRequest.DebugString()));
}

TEST_F(EngineSubmissionTest, ReportsAnEngineThatRefusedBesideTheLineForEveryAnswer) {
    engineReply.set_success(false);
    engineReply.set_error_message("no element \"b\"");
    bed.start();
    submit();
    setup();
    EXPECT_TRUE(bed.log.has("INFO Api requests handler > Job setup properly sent"));
    EXPECT_TRUE(bed.log.has("ERROR Api requests handler > Engine setup refused: no element \"b\""));
}

TEST_F(EngineSubmissionTest, ReportsAReplyOfAnotherType) {
    engineReply.clear_type();
    bed.start();
    submit();
    setup();
    EXPECT_TRUE(bed.log.has(
        "ERROR Api requests handler > Received wrong type of reply to job setup request"));
}

TEST_F(EngineSubmissionTest, ReportsAnEngineThatNeverAppears) {
    bed.onCommand({});
    bed.start();
    EXPECT_TRUE(submit().success());
    EXPECT_TRUE(bed.log.waitFor("ERROR Api requests handler > Failed starting external job: "));
    EXPECT_TRUE(bed.log.contains(" within 2000 ms"));
}

TEST_F(EngineSubmissionTest, GivesNoAnswerWhenThePortsAreUsedUp) {
    bed.start(test::freeTcpEndpoint());
    bed.client.setTimeout(std::chrono::milliseconds(300));
    EXPECT_THROW(submit(), std::runtime_error);  // three ports for four endpoints
    EXPECT_TRUE(
        bed.log.waitFor("ERROR Api requests handler > Cannot submit engine: Workflow creator > No "
                        "endpoint available"));
    EXPECT_TRUE(bed.log.waitFor(
        "WARN Api requests handler > Of the ports 1 to 3 of 127.0.0.1 3 were given out lately"));
    EXPECT_THAT(bed.commands(), ElementsAre());
}

}  // namespace tarn::service
