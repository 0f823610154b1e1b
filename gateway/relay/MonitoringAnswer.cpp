#include "gateway/relay/MonitoringAnswer.h"

#include <limits>

#include "platform/utils/MessageFields.h"
#include "proto/api_service.pb.h"
#include "proto/service_event.pb.h"

namespace tarn::gateway {

using Answer = proto::api_service::ServiceToApiReply;
using MonitoringInfo = proto::api_service::ServiceToApiReplyGetMonitoringInfo;
using Batch = proto::service_event::ServiceEventBatch;

namespace {

// So the one message's bytes can be read as the other's.
static_assert(MonitoringInfo::kDeviceTreeFieldNumber + 0 == Batch::kDeviceTreeFieldNumber + 0);

}  // namespace

std::optional<std::string_view> treeOfAnswer(std::string_view answer) {
    if (answer.size() > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    bool isMonitoringInfo = false;
    bool success = false;
    std::optional<std::string_view> content;
    utils::MessageFields fields(answer);
    while (fields.next()) {
        if (fields.isInteger(Answer::kTypeFieldNumber)) {
            isMonitoringInfo = fields.integer() == Answer::GET_MONITORING_INFO;
        } else if (fields.isInteger(Answer::kSuccessFieldNumber)) {
            success = fields.integer() != 0;
        } else if (fields.isBytes(MonitoringInfo::kBaseFieldNumber)) {
            content = fields.bytes();
        }
    }
    return fields.isAtEnd() && success && isMonitoringInfo ? content : std::nullopt;
}

}  // namespace tarn::gateway
