#include "peers/job_runtime/registration/JobClaim.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>

#include "platform/utils/UuidGenerator.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;

struct JobClaimTest : testing::Test {
    const std::string service = "ipc:///tmp/" + tarn::utils::UuidGenerator::Generate();
};

TEST_F(JobClaimTest, OneHasIt) {
    const JobClaim claim(service, "job", 0ms);
    EXPECT_FALSE(claim.hadToWait());
    EXPECT_THROW(JobClaim(service, "job", 0ms), std::runtime_error);
}

TEST_F(JobClaimTest, OtherJobsAndThoseOfOtherServicesAreOthers) {
    const JobClaim claim(service, "job", 0ms);
    EXPECT_NO_THROW(JobClaim(service, "other", 0ms));
    EXPECT_NO_THROW(JobClaim(service + "2", "job", 0ms));
}

TEST_F(JobClaimTest, IdsOfAnyLengthAreToldApart) {
    const std::string id(100'000, 'x');
    const JobClaim claim(service, id, 0ms);
    EXPECT_THROW(JobClaim(service, id, 0ms), std::runtime_error);
    EXPECT_NO_THROW(JobClaim(service, id + "y", 0ms));
}

TEST_F(JobClaimTest, ItIsFreeWhenItsHolderIsGone) {
    std::make_unique<JobClaim>(service, "job", 0ms).reset();
    EXPECT_NO_THROW(JobClaim(service, "job", 0ms));
}

TEST_F(JobClaimTest, WhoIsToldToStopWaitsNoLonger) {
    const JobClaim claim(service, "job", 0ms);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(JobClaim(service, "job", 1h, stop.get_token()), std::runtime_error);
}

TEST_F(JobClaimTest, AHolderThatIsAboutToGoIsWaitedFor) {
    auto first = std::make_unique<JobClaim>(service, "job", 0ms);
    std::jthread second([&] { EXPECT_NO_THROW(JobClaim(service, "job", 20s)); });
    first.reset();
}

}  // namespace
}  // namespace tarn::peers
