#include "peers/job_runtime/registration/Admission.h"

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

namespace tarn::peers {
namespace {

using namespace std::chrono_literals;
using State = Admission::State;
using Standing = Registration::Standing;

struct FakeRegistration : Registration {
    void enter() override { standing = Standing::Claiming; }
    Standing take() override { return standing; }
    std::string reason() override { return "already running"; }
    int descriptor() const override { return 42; }

    Standing standing = Standing::Outside;
};

struct AdmissionTest : testing::Test {
    const Admission::Clock::time_point began = Admission::Clock::time_point() + 1000s;
    FakeRegistration registration;
    Admission admission{&registration, began};
};

TEST_F(AdmissionTest, WhatIsCheckedIsRegisteredAtOnce) {
    EXPECT_EQ(admission.step(began + 1ms), State::Checking);
    EXPECT_EQ(registration.standing, Standing::Outside);
    EXPECT_EQ(admission.descriptor(), -1);
    admission.checked();
    EXPECT_EQ(admission.step(began + 1ms), State::Entering);
    EXPECT_EQ(registration.standing, Standing::Claiming);
    EXPECT_EQ(admission.descriptor(), 42);
}

TEST_F(AdmissionTest, WhatIsNotCheckedSoonIsRegisteredAllTheSame) {
    EXPECT_EQ(admission.deadline(), began + 150ms);
    EXPECT_EQ(admission.step(began + 149ms), State::Checking);
    EXPECT_EQ(admission.step(began + 150ms), State::Entering);
    EXPECT_EQ(registration.standing, Standing::Claiming);
}

TEST_F(AdmissionTest, AListedJobIsAdmitted) {
    admission.checked();
    admission.step(began);
    registration.standing = Standing::Listed;
    EXPECT_EQ(admission.step(began), State::Admitted);
    EXPECT_FALSE(admission.deadline());
    EXPECT_EQ(admission.descriptor(), -1);
}

TEST_F(AdmissionTest, ARegistryThatIsAwayIsNoReasonNotToPlay) {
    admission.checked();
    admission.step(began);
    registration.standing = Standing::Away;
    EXPECT_EQ(admission.step(began), State::Admitted);
}

TEST_F(AdmissionTest, ARefusedJobIsNotAdmitted) {
    admission.checked();
    admission.step(began);
    registration.standing = Standing::Refused;
    EXPECT_EQ(admission.step(began), State::Refused);
    EXPECT_EQ(admission.reason(), "Job is not registered: already running");
    registration.standing = Standing::Listed;
    EXPECT_EQ(admission.step(began), State::Refused);
}

TEST_F(AdmissionTest, ARegistryThatDoesNotAnswerHoldsUpForASecond) {
    const test::LogCapture log;
    admission.checked();
    admission.step(began);
    EXPECT_FALSE(admission.deadline());
    registration.standing = Standing::Entering;
    EXPECT_EQ(admission.step(began + 10ms), State::Entering);
    EXPECT_EQ(admission.deadline(), began + 1010ms);
    EXPECT_EQ(admission.step(began + 1009ms), State::Entering);
    EXPECT_FALSE(log.contains("does not answer"));
    EXPECT_EQ(admission.step(began + 1010ms), State::Admitted);
    EXPECT_TRUE(log.contains("The resource manager does not answer: this job is not registered"));
}

TEST_F(AdmissionTest, WhoWaitsForTheClaimIsNotAdmittedHoweverLongItTakes) {
    admission.checked();
    EXPECT_EQ(admission.step(began), State::Entering);
    EXPECT_EQ(admission.step(began + 60s), State::Entering);
}

TEST_F(AdmissionTest, AJobThatNobodyListsIsAdmittedAsItIs) {
    Admission unlisted(nullptr, began);
    EXPECT_EQ(unlisted.step(began), State::Admitted);
}

}  // namespace
}  // namespace tarn::peers
