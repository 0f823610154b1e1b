#include "gateway/relay/MonitoringAnswer.h"

#include <gtest/gtest.h>

#include "proto/api_service.pb.h"
#include "tests/gateway/Batches.h"

namespace tarn::gateway {

using proto::api_service::ServiceToApiReply;
using proto::api_service::ServiceToApiReplyGetMonitoringInfo;

namespace {

ServiceToApiReply answerWith(const test::ServiceEventBatch& batch) {
    ServiceToApiReply answer;
    answer.set_type(ServiceToApiReply::GET_MONITORING_INFO);
    answer.set_success(true);
    *answer.MutableExtension(ServiceToApiReplyGetMonitoringInfo::base)->mutable_device_tree() =
        batch.device_tree();
    return answer;
}

}  // namespace

TEST(MonitoringAnswerTest, HoldsTheTreeAsABatch) {
    auto tree = test::fullTree(100);
    tree.clear_events();
    const auto answer = answerWith(tree).SerializeAsString();
    EXPECT_EQ(treeOfAnswer(answer), tree.SerializeAsString());
}

TEST(MonitoringAnswerTest, OtherAnswersAreNone) {
    auto other = answerWith(test::treeOnly("a"));
    other.set_type(ServiceToApiReply::GET_JOBS);
    EXPECT_FALSE(treeOfAnswer(other.SerializeAsString()));
    auto failure = answerWith(test::treeOnly("a"));
    failure.set_success(false);
    failure.set_error_message("not now");
    EXPECT_FALSE(treeOfAnswer(failure.SerializeAsString()));
    auto without = answerWith(test::treeOnly("a"));
    without.ClearExtension(ServiceToApiReplyGetMonitoringInfo::base);
    EXPECT_FALSE(treeOfAnswer(without.SerializeAsString()));
}

TEST(MonitoringAnswerTest, BytesThatAreNoAnswerAreNone) {
    const auto good = answerWith(test::treeOnly("a")).SerializeAsString();
    for (std::size_t size = 0; size < good.size(); ++size) {
        EXPECT_FALSE(treeOfAnswer(std::string_view(good).substr(0, size))) << size;
    }
    EXPECT_FALSE(treeOfAnswer("garbage"));
}

}  // namespace tarn::gateway
