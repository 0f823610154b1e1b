#include "platform/resource_manager/RunningJob.h"

#include <gmock/gmock.h>

#include "platform/resource_manager/DeltacastConfiguration.h"
#include "proto/resource_manager.pb.h"
#include "tests/platform/resource_manager/TestJobs.h"

namespace tarn::resource_manager {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(RunningJobTest, IsEmptyByDefault) {
    const RunningJob job;
    EXPECT_EQ(job.getJobDescription().getJobId(), "");
    EXPECT_EQ(job.getCommandEndpoint(), "");
    EXPECT_EQ(job.getEventEndpoint(), "");
    EXPECT_EQ(job.getProcess(), os::ProcessIdentity());
    EXPECT_THAT(job.getResources(), IsEmpty());
    EXPECT_THAT(job.getValuesOf("Endpoint"), IsEmpty());
}

TEST(RunningJobTest, KeepsEverythingOverAMessage) {
    const auto job = test::jobOf({12, 34}, "id", {{"b", {"2", "1", "2"}}, {"a", {}}});
    const RunningJob copy(job.toProtoBuf());
    EXPECT_EQ(copy.getJobDescription().getName(), "name of id");
    EXPECT_EQ(copy.getJobDescription().getJobId(), "id");
    EXPECT_EQ(copy.getJobDescription().getDescription(), "a \"text\" with\nnew line");
    EXPECT_EQ(copy.getJobDescription().getCreator(), "tester");
    EXPECT_EQ(copy.getCommandEndpoint(), "ipc:///tmp/commands-id");
    EXPECT_EQ(copy.getEventEndpoint(), "ipc:///tmp/events-id");
    EXPECT_EQ(copy.getProcess(), (os::ProcessIdentity{12, 34}));
    EXPECT_EQ(copy.getResources(), job.getResources());
}

TEST(RunningJobTest, KeepsItsOwnerOverAMessage) {
    access::Owner owner;
    owner.user = 0;
    const RunningJob job({}, "", "", {}, {}, owner);
    EXPECT_EQ(RunningJob(job.toProtoBuf()).getOwner().user, 0U);
    EXPECT_TRUE(RunningJob(RunningJob().toProtoBuf()).getOwner().isNobody());
}

TEST(RunningJobTest, JoinsResourcesOfTheSameName) {
    tarn::proto::resource_manager::RunningJob message;
    for (const auto* value : {"x", "y"}) {
        auto* const resource = message.add_resources();
        resource->set_name("Board");
        resource->add_values(value);
    }
    EXPECT_THAT(RunningJob(message).getValuesOf("Board"), ElementsAre("x", "y"));
}

TEST(RunningJobTest, SharesItsContentWithItsCopies) {
    const auto job = test::jobOfThisProcess("id");
    const std::vector<RunningJob> copies(2, job);
    EXPECT_EQ(&copies[1].getResources(), &job.getResources());
}

TEST(RunningJobTest, IsEmptyAfterAnEmptyMessage) {
    const RunningJob job{tarn::proto::resource_manager::RunningJob()};
    EXPECT_EQ(job.getJobDescription().getJobId(), "");
    EXPECT_EQ(job.getProcess().id, 0);
}

TEST(DeltacastConfigurationTest, KeepsEverythingOverAMessage) {
    const DeltacastConfiguration configuration("rgb24", "1 2 ", "0 -1 ", 1080, "psf", 5994);
    const DeltacastConfiguration copy(configuration.toProtoBuf());
    EXPECT_EQ(copy, configuration);
    EXPECT_EQ(copy.getPixelFormat(), "rgb24");
    EXPECT_EQ(copy.getInputList(), "1 2 ");
    EXPECT_EQ(copy.getFrameOffsetList(), "0 -1 ");
    EXPECT_EQ(copy.getLineCount(), 1080U);
    EXPECT_EQ(copy.getFieldMode(), "psf");
    EXPECT_EQ(copy.getFrameRate(), 5994U);
}

}  // namespace tarn::resource_manager
