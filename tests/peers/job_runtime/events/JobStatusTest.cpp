#include "peers/job_runtime/events/JobStatus.h"

#include <gtest/gtest.h>

namespace tarn::peers {
namespace {

TEST(JobStatusTest, IsWhatItWasChangedToAndHowLongTheJobHasBeen) {
    JobStatus status;
    status.update([](JobStatus::Reply& reply) { reply.set_restarts(3); });
    const auto first = status.snapshot();
    const auto second = status.snapshot();
    EXPECT_EQ(first.restarts(), 3U);
    EXPECT_GT(first.uptime_ns(), 0);
    EXPECT_GE(second.uptime_ns(), first.uptime_ns());
}

}  // namespace
}  // namespace tarn::peers
