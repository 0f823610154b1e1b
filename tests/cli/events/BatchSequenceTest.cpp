#include "cli/events/BatchSequence.h"

#include <gtest/gtest.h>

#include "proto/service_event.pb.h"

namespace tarn::cli {

using proto::service_event::ServiceEventBatch;
using Finding = BatchSequence::Finding;
using Kind = Finding::Kind;

namespace {

ServiceEventBatch batch(std::uint64_t number, const std::string& gateway = "one") {
    ServiceEventBatch result;
    result.set_sequence(number);
    result.set_gateway_instance(gateway);
    return result;
}

ServiceEventBatch catchUp(std::uint64_t number, const std::string& gateway = "one") {
    ServiceEventBatch result = batch(number, gateway);
    result.set_catch_up(true);
    return result;
}

ServiceEventBatch ofService(std::uint64_t number, ServiceEventBatch result,
                            const std::string& service = "service") {
    result.set_service_sequence(number);
    result.set_service_instance(service);
    return result;
}

class BatchSequenceTest : public testing::Test {
  protected:
    BatchSequence sequence;
};

}  // namespace

TEST_F(BatchSequenceTest, NothingIsMissingInARow) {
    EXPECT_EQ(sequence.next(catchUp(7)).kind, Kind::CatchUp);
    for (std::uint64_t number = 8; number < 20; ++number) {
        const Finding finding = sequence.next(batch(number));
        EXPECT_EQ(finding.kind, Kind::Batch);
        EXPECT_EQ(finding.lost, 0U);
        EXPECT_FALSE(finding.otherGateway);
    }
}

TEST_F(BatchSequenceTest, TheFirstBatchOfAGatewayFollowsAnEmptyCatchUp) {
    EXPECT_EQ(sequence.next(catchUp(0)).kind, Kind::CatchUp);
    EXPECT_EQ(sequence.next(batch(1)).lost, 0U);
}

TEST_F(BatchSequenceTest, CountsWhatIsMissing) {
    sequence.next(catchUp(7));
    EXPECT_EQ(sequence.next(batch(11)).lost, 3U);
    EXPECT_EQ(sequence.next(batch(12)).lost, 0U);
    EXPECT_EQ(sequence.next(batch(14)).lost, 1U);
}

TEST_F(BatchSequenceTest, ACatchUpAfterABrokenConnectionTellsWhatWasMissed) {
    sequence.next(catchUp(7));
    sequence.next(batch(8));
    EXPECT_EQ(sequence.next(catchUp(8)).lost, 0U);
    EXPECT_EQ(sequence.next(catchUp(10)).lost, 2U);
    EXPECT_EQ(sequence.next(batch(11)).lost, 0U);
}

TEST_F(BatchSequenceTest, AFillerMeansNothing) {
    sequence.next(catchUp(7));
    ServiceEventBatch filler;
    filler.set_sequence(0);
    EXPECT_EQ(sequence.next(filler).kind, Kind::Nothing);
    EXPECT_EQ(sequence.next(batch(8)).lost, 0U);
}

TEST_F(BatchSequenceTest, WhatWasSeenBeforeMeansNothing) {
    sequence.next(catchUp(7));
    sequence.next(batch(8));
    EXPECT_EQ(sequence.next(batch(8)).kind, Kind::Nothing);
    EXPECT_EQ(sequence.next(catchUp(3)).kind, Kind::Nothing);
    EXPECT_EQ(sequence.next(batch(9)).lost, 0U);
}

TEST_F(BatchSequenceTest, NoticesThatTheGatewayWasStartedAgain) {
    EXPECT_FALSE(sequence.next(catchUp(7)).otherGateway);
    const Finding finding = sequence.next(catchUp(0, "two"));
    EXPECT_TRUE(finding.otherGateway);
    EXPECT_EQ(finding.lost, 0U);
    EXPECT_EQ(finding.kind, Kind::CatchUp);
    EXPECT_FALSE(sequence.next(batch(1, "two")).otherGateway);
    EXPECT_EQ(sequence.next(batch(3, "two")).lost, 1U);
}

TEST_F(BatchSequenceTest, CountsWhatTheGatewayNeverHad) {
    sequence.next(catchUp(7));
    EXPECT_EQ(sequence.next(ofService(20, batch(8))).lost, 0U);
    EXPECT_EQ(sequence.next(ofService(24, batch(9))).lost, 3U);
    EXPECT_EQ(sequence.next(ofService(25, batch(10))).lost, 0U);
    // One that the gateway asked for has no number of the service.
    EXPECT_EQ(sequence.next(batch(11)).lost, 0U);
    EXPECT_EQ(sequence.next(ofService(26, batch(12))).lost, 0U);
}

TEST_F(BatchSequenceTest, CountsWhatIsMissingOnce) {
    sequence.next(catchUp(7));
    sequence.next(ofService(20, batch(8)));
    EXPECT_EQ(sequence.next(ofService(23, batch(11))).lost, 2U);
    // After a broken connection the catch-up has told it.
    EXPECT_EQ(sequence.next(catchUp(13)).lost, 2U);
    EXPECT_EQ(sequence.next(ofService(26, batch(14))).lost, 0U);
}

TEST_F(BatchSequenceTest, NoticesThatTheServiceWasStartedAgain) {
    sequence.next(catchUp(7));
    EXPECT_FALSE(sequence.next(ofService(20, batch(8))).otherService);
    const Finding finding = sequence.next(ofService(2, batch(9), "other service"));
    EXPECT_TRUE(finding.otherService);
    EXPECT_TRUE(finding.mayHaveMissed());
    EXPECT_EQ(finding.lost, 0U);
    EXPECT_FALSE(sequence.next(ofService(3, batch(10), "other service")).otherService);
}

TEST_F(BatchSequenceTest, TheServicesOwnBatchesHaveNumbersToo) {
    EXPECT_EQ(sequence.next(ofService(1, {})).lost, 0U);
    EXPECT_EQ(sequence.next(ofService(2, {})).kind, Kind::Batch);
    EXPECT_EQ(sequence.next(ofService(5, {})).lost, 2U);
}

TEST_F(BatchSequenceTest, OfBatchesWithoutNumbersNothingIsKnown) {
    for (int i = 0; i < 3; ++i) {
        const Finding finding = sequence.next(ServiceEventBatch());
        EXPECT_EQ(finding.kind, Kind::Batch);
        EXPECT_EQ(finding.lost, 0U);
    }
}

}  // namespace tarn::cli
