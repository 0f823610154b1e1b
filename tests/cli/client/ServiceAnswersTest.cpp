#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/cli/TarnctlFixture.h"

namespace tarn::cli {

using nlohmann::json;
using test::FakeService;
using testing::HasSubstr;

namespace {

/// How tarnctl takes what the service answers, whatever the command.
class ServiceAnswersTest : public TarnctlFixture {
  protected:
    void infoIsAnsweredWith(FakeService::Reply reply) {
        service.answers(FakeService::Request::GET_INFO, [reply](const auto&) {
            return std::make_unique<FakeService::Reply>(reply);
        });
    }
};

}  // namespace

TEST_F(ServiceAnswersTest, ASilentServiceIsGivenUpAtTheTimeOut) {
    service.staysSilent();
    const CommandResult run = tarnctl({"info", "--timeout", "0.05"});
    EXPECT_EQ(run.status, ExitStatus::NoAnswer);
    EXPECT_EQ(run.err, "tarnctl: no answer from " + service.endpoint() + " within 0.05 s\n");
}

TEST_F(ServiceAnswersTest, ARequestThatIsLeftUnansweredIsNoAnswer) {
    service.answers(FakeService::Request::JOB_SUBMISSION, [](const auto&) { return nullptr; });
    const CommandResult run = tarnctl({"jobs", "submit", "--pipeline", "p", "--timeout", "0.05"});
    EXPECT_EQ(run.status, ExitStatus::NoAnswer);
    EXPECT_EQ(run.err, "tarnctl: no answer from " + service.endpoint() + " within 0.05 s\n");
}

TEST_F(ServiceAnswersTest, ARefusalIsShownInTheServicesWords) {
    FakeService::Reply reply;
    reply.set_type(FakeService::Reply::INFO);
    reply.set_success(false);
    reply.set_error_message("not today\x1b[31m");
    infoIsAnsweredWith(reply);
    const CommandResult run = tarnctl({"info"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err, "tarnctl: not today\\x1b[31m\n");
}

TEST_F(ServiceAnswersTest, ARefusalWithoutAReasonIsARefusal) {
    FakeService::Reply reply;
    reply.set_type(FakeService::Reply::INFO);
    infoIsAnsweredWith(reply);
    EXPECT_EQ(tarnctl({"info"}).err, "tarnctl: refused by the service without a reason\n");
}

TEST_F(ServiceAnswersTest, AnAnswerOfAnotherTypeIsAFailure) {
    FakeService::Reply reply;
    reply.set_type(FakeService::Reply::GET_JOBS);
    reply.set_success(true);
    infoIsAnsweredWith(reply);
    const CommandResult run = tarnctl({"info"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_EQ(run.err,
              "tarnctl: unexpected answer from " + service.endpoint() + ": type 4 instead of 1\n");
}

TEST_F(ServiceAnswersTest, GarbageIsAFailure) {
    service.answers(FakeService::Request::GET_INFO, [](const auto&) { return test::garbage(); });
    const CommandResult run = tarnctl({"info"});
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_THAT(run.err, HasSubstr("tarnctl: unreadable answer from " + service.endpoint()));
}

TEST_F(ServiceAnswersTest, InfoIsShownForPeople) {
    const CommandResult run = tarnctl({"info"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out,
              "Service       TarnService\n"
              "Version       service version TODO\n"
              "Events        ipc:///tmp/events\n"
              "Loop storage  10.0.0.7:4711\n"
              "Components    1\n"
              "\n"
              "COMPONENT  VERSION  KIND   DESCRIPTION\n"
              "scaler     1.2      video  changes the size of pictures\n");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(service.lastRequest().type(), FakeService::Request::GET_INFO);
}

TEST_F(ServiceAnswersTest, InfoIsShownAsJson) {
    json document = json::parse(tarnctl({"info", "--json"}).out);
    EXPECT_EQ(document["service_name"], "TarnService");
    EXPECT_EQ(document["components_dictionary"]["components"][0]["name"], "scaler");
    EXPECT_EQ(document["loop_storage_configuration"]["port"], 4711);
}

TEST_F(ServiceAnswersTest, AnEngineSubmissionCarriesEveryOption) {
    const CommandResult run = tarnctl({"engines", "submit", "--name", "mixer", "--settings",
                                       "audiotestsrc ! fakesink", "--option", "-7"});
    EXPECT_EQ(run.status, ExitStatus::Done);
    EXPECT_EQ(run.out,
              "Commands  tcp://*:1001\nEvents    tcp://*:1002\n"
              "Third     tcp://*:1003\nFourth    tcp://*:1004\n");
    const auto request = service.lastRequest();
    EXPECT_EQ(request.type(), FakeService::Request::ENGINE_SUBMISSION);
    const auto& engine =
        request.GetExtension(proto::api_service::ApiToServiceRequestEngineSubmission::base);
    EXPECT_EQ(engine.engine_name(), "mixer");
    EXPECT_EQ(engine.engine_settings(), "audiotestsrc ! fakesink");
    EXPECT_EQ(engine.engine_option(), -7);
}

TEST_F(ServiceAnswersTest, AnEngineSubmissionIsShownAsJson) {
    const CommandResult run =
        tarnctl({"engines", "submit", "--name", "m", "--settings", "s", "--json"});
    EXPECT_EQ(json::parse(run.out)["fourth_engine_endpoint"], "tcp://*:1004");
}

}  // namespace tarn::cli
