#include <gmock/gmock.h>

#include "tests/service/api/ApiBed.h"

namespace tarn::service {

using namespace tarn::proto::api_service;
using testing::ElementsAre;
using testing::IsEmpty;

class JobQueriesTest : public testing::Test {
  protected:
    JobQueriesTest() {
        bed.start();
        bed.registerJob("one", "ipc:///tmp/one", {{"Room", {"a", "b"}}});
        bed.registerJob("two", "ipc:///tmp/two", {{"Room", {"c"}}});
    }

    std::vector<std::string> listed(const ApiToServiceRequestGetJobs& query) {
        ApiToServiceRequest request;
        request.set_type(ApiToServiceRequest::GET_JOBS);
        *request.MutableExtension(ApiToServiceRequestGetJobs::base) = query;
        auto reply = bed.ask(request);
        EXPECT_EQ(reply.type(), ServiceToApiReply::GET_JOBS);
        EXPECT_TRUE(reply.success());
        EXPECT_FALSE(reply.has_error_message());
        std::vector<std::string> ids;
        for (const auto& job :
             reply.MutableExtension(ServiceToApiReplyGetJobs::base)->running_jobs()) {
            EXPECT_TRUE(job.has_command_endpoint() && job.has_event_endpoint());
            ids.push_back(job.job_description().job_id());
        }
        return ids;
    }

    ServiceToApiReplyGetJobByUuid lookUp(const std::string& uuid) {
        ApiToServiceRequest request;
        request.set_type(ApiToServiceRequest::GET_JOB_BY_UUID);
        request.MutableExtension(ApiToServiceRequestGetJobByUuid::base)->set_uuid(uuid);
        auto reply = bed.ask(request);
        EXPECT_EQ(reply.type(), ServiceToApiReply::GET_JOB_BY_UUID);
        EXPECT_TRUE(reply.success());
        return *reply.MutableExtension(ServiceToApiReplyGetJobByUuid::base);
    }

    void loseResourceManager() {
        std::string error;
        ASSERT_TRUE(bed.proxy.disconnect(error)) << error;
    }

    test::ApiBed bed;
    ApiToServiceRequestGetJobs query;
};

TEST_F(JobQueriesTest, ListAllJobsInTheOrderOfTheResourceManager) {
    EXPECT_THAT(listed(query), ElementsAre("one", "two"));
}

TEST_F(JobQueriesTest, FollowTheListWhenItChanges) {
    EXPECT_THAT(listed(query), ElementsAre("one", "two"));
    EXPECT_THAT(listed(query), ElementsAre("one", "two"));
    bed.registerJob("three", "ipc:///tmp/three");
    EXPECT_THAT(listed(query), ElementsAre("one", "two", "three"));
    query.set_property("Room");
    query.set_value("c");
    EXPECT_THAT(listed(query), ElementsAre("two"));
    std::string error;
    ASSERT_TRUE(bed.proxy.unregisterJob("one", error)) << error;
    EXPECT_THAT(listed({}), ElementsAre("two", "three"));
}

TEST_F(JobQueriesTest, ListTheJobsThatHaveAProperty) {
    query.set_property("Room");
    query.set_value("b");
    EXPECT_THAT(listed(query), ElementsAre("one"));
}

TEST_F(JobQueriesTest, ListTheJobsWhoseValueIsTheWholeValue) {
    query.set_property("Room");
    query.set_value("B");
    EXPECT_THAT(listed(query), IsEmpty());
}

TEST_F(JobQueriesTest, ListAllJobsForAPropertyWithoutAValue) {
    query.set_property("Room");
    EXPECT_THAT(listed(query), ElementsAre("one", "two"));
}

TEST_F(JobQueriesTest, ListAllJobsForAValueWithoutAProperty) {
    query.set_value("b");
    EXPECT_THAT(listed(query), ElementsAre("one", "two"));
}

TEST_F(JobQueriesTest, ListNothingAndLogWhenTheResourceManagerIsAway) {
    loseResourceManager();
    EXPECT_THAT(listed(query), IsEmpty());
    EXPECT_TRUE(bed.log.contains("ERROR Api requests handler > Failed to get running jobs: "));
}

TEST_F(JobQueriesTest, ListNothingByPropertyAndLogWhenTheResourceManagerIsAway) {
    loseResourceManager();
    query.set_property("Room");
    query.set_value("b");
    EXPECT_THAT(listed(query), IsEmpty());
    EXPECT_TRUE(bed.log.contains(
        "ERROR Api requests handler > Failed to get running jobs by property and value: "));
}

TEST_F(JobQueriesTest, FindOneByItsUuid) {
    const auto found = lookUp("two").running_job();
    EXPECT_EQ(found.command_endpoint(), "ipc:///tmp/two");
    EXPECT_EQ(found.event_endpoint(), "ipc:///tmp/two-events");
    EXPECT_EQ(found.job_description().name(), "job two");
}

TEST_F(JobQueriesTest, FindNothingForAnUnknownUuid) {
    EXPECT_FALSE(lookUp("three").has_running_job());
}

TEST_F(JobQueriesTest, FindTheEmptyRecordForAnEmptyUuid) {
    const auto found = lookUp("");
    ASSERT_TRUE(found.has_running_job());
    EXPECT_TRUE(found.running_job().has_command_endpoint());
    EXPECT_EQ(found.running_job().command_endpoint(), "");
}

TEST_F(JobQueriesTest, FindTheEmptyRecordForAnEmptyUuidAlsoAfterAFailure) {
    loseResourceManager();
    EXPECT_TRUE(lookUp("").has_running_job());
    EXPECT_FALSE(lookUp("one").has_running_job());
    EXPECT_TRUE(
        bed.log.contains("ERROR Api requests handler > Failed to get running jobs by uuid: "));
}

}  // namespace tarn::service
