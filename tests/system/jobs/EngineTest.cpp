#include <unistd.h>

#include "tests/support/Eventually.h"
#include "tests/system/harness/Processes.h"
#include "tests/system/harness/SystemTest.h"

namespace tarn::test {

namespace api = proto::api_service;

namespace {

using namespace std::chrono_literals;

class EnginesTest : public SystemTest {
  protected:
    std::optional<api::ServiceToApiReplyEngineSubmission> submit(const std::string& name,
                                                                 const std::string& settings) {
        auto request = requestOfType(Api::Request::ENGINE_SUBMISSION);
        auto& engine = *request.MutableExtension(api::ApiToServiceRequestEngineSubmission::base);
        engine.set_engine_name(name);
        engine.set_engine_settings(settings);
        engine.set_engine_option(1);
        const auto reply = api().ask(request);
        if (!reply || reply->type() != Api::Reply::ENGINE_SUBMISSION || !reply->success()) {
            return std::nullopt;
        }
        return reply->GetExtension(api::ServiceToApiReplyEngineSubmission::base);
    }
};

TEST_F(EnginesTest, AnEngineRunsAnswersAndEndsWhenItIsToldTo) {
    startService();
    const auto endpoints = submit("mixer", endless);
    ASSERT_TRUE(endpoints);
    EXPECT_TRUE(service().waitForLog("Starting engine: "));
    EXPECT_TRUE(service().waitForLog("Job setup properly sent"));
    Job engine({"mixer", endpoints->first_engine_endpoint(), endpoints->second_engine_endpoint()});
    EXPECT_TRUE(engine.waitUntilPlaying());
    EXPECT_TRUE(engine.destroy());
    const auto end = engine.waitForEnd();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->reason(), Job::End::DESTROYED);
}

TEST_F(EnginesTest, HostileTextsTouchNothing) {
    startService();
    ASSERT_TRUE(submit("x; touch /tmp/hit", "$(touch /tmp/hit) `touch /tmp/hit`"));
    EXPECT_TRUE(api().info());
    EXPECT_NE(::access("/tmp/hit", F_OK), 0);
}

TEST_F(EnginesTest, ALauncherThatDoesNotExistIsLoggedAndTheNextRequestIsServed) {
    configureSections("<Paths><EngineLauncher>/no/such/launcher</EngineLauncher></Paths>");
    startService();
    ASSERT_TRUE(submit("mixer", endless));
    EXPECT_TRUE(service().waitForLog("Failed starting external job: "));
    EXPECT_TRUE(api().info());
}

}  // namespace

}  // namespace tarn::test
