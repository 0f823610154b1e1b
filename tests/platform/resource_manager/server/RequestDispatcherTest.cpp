#include "platform/resource_manager/server/RequestDispatcher.h"

#include <gmock/gmock.h>

#include "proto/resource_manager.pb.h"
#include "tests/platform/resource_manager/TestJobs.h"

namespace tarn::resource_manager {

using tarn::proto::resource_manager::Reply;
using tarn::proto::resource_manager::Request;
using testing::HasSubstr;

class DispatchingTest : public testing::Test {
  protected:
    static Request request(Request::Type type) {
        Request message;
        message.set_type(type);
        return message;
    }

    void expectRefused(const Request& message, const std::string& reason) {
        const auto reply = dispatcher.answer(message);
        EXPECT_EQ(reply.type(), message.type());
        EXPECT_FALSE(reply.success());
        EXPECT_EQ(reply.error_message(), reason);
    }

    Reply accepted(const Request& message) {
        auto reply = dispatcher.answer(message);
        EXPECT_EQ(reply.type(), message.type());
        EXPECT_TRUE(reply.success()) << reply.error_message();
        return reply;
    }

    const std::shared_ptr<Registry> registry = std::make_shared<Registry>();
    RequestDispatcher dispatcher{registry};
};

TEST_F(DispatchingTest, AnswersARequestOfUnknownTypeWithAnError) {
    expectRefused(Request(), "Unknown type of request to the resource manager");
    Request unknown;
    ASSERT_TRUE(unknown.ParseFromString(std::string("\x08\x63", 2)));  // type 99
    expectRefused(unknown, "Unknown type of request to the resource manager");
}

TEST_F(DispatchingTest, NamesTheFieldThatIsMissing) {
    expectRefused(request(Request::REGISTER_JOB), "Request REGISTER_JOB without job");
    expectRefused(request(Request::UNREGISTER_JOB), "Request UNREGISTER_JOB without job_id");
    expectRefused(request(Request::GET_RUNNING_JOB_WITH_UUID),
                  "Request GET_RUNNING_JOB_WITH_UUID without job_id");
    expectRefused(request(Request::GET_USED_RESOURCES),
                  "Request GET_USED_RESOURCES without resource_type");
    expectRefused(request(Request::SET_DELTACAST_CONFIGURATION),
                  "Request SET_DELTACAST_CONFIGURATION without deltacast_configuration");
    auto match = request(Request::GET_RUNNING_JOBS_WITH_PROPERTY_AND_VALUE);
    expectRefused(match, "Request GET_RUNNING_JOBS_WITH_PROPERTY_AND_VALUE without property");
    match.set_property("x");
    expectRefused(match, "Request GET_RUNNING_JOBS_WITH_PROPERTY_AND_VALUE without value");
}

TEST_F(DispatchingTest, GivesTheReasonOfARefusal) {
    auto message = request(Request::REGISTER_JOB);
    message.mutable_job();
    expectRefused(message, "A job without an identifier cannot register");
}

TEST_F(DispatchingTest, RegistersListsAndRemovesJobs) {
    auto entering = request(Request::REGISTER_JOB);
    *entering.mutable_job() = test::jobOfThisProcess("a", {"tcp://h:1"}).toProtoBuf();
    accepted(entering);
    EXPECT_EQ(accepted(request(Request::GET_RUNNING_JOBS)).jobs(0).job_description().job_id(), "a");
    auto leaving = request(Request::UNREGISTER_JOB);
    leaving.set_job_id("a");
    EXPECT_THAT(dispatcher.answer(leaving).error_message(), HasSubstr("by another process"));
    leaving.set_process_id(os::ProcessIdentity::ofThisProcess().id);
    accepted(leaving);
    EXPECT_EQ(accepted(request(Request::GET_RUNNING_JOBS)).jobs_size(), 0);
}

TEST_F(DispatchingTest, FindsNothingForAnUnknownId) {
    auto message = request(Request::GET_RUNNING_JOB_WITH_UUID);
    message.set_job_id("");
    EXPECT_EQ(accepted(message).jobs_size(), 0);
}

TEST_F(DispatchingTest, PutsWholeValuesBeforeBeginnings) {
    registry->registerJob(
        test::jobOf(os::ProcessIdentity::ofThisProcess(), "a", {{"Studio", {"North"}}}));
    auto message = request(Request::GET_RUNNING_JOBS_WITH_PROPERTY_AND_VALUE);
    message.set_property("Studio");
    message.set_value("Nor");
    message.set_prefix(true);
    EXPECT_EQ(accepted(message).jobs_size(), 1);
    message.set_exact(true);
    EXPECT_EQ(accepted(message).jobs_size(), 0);
}

}  // namespace tarn::resource_manager
