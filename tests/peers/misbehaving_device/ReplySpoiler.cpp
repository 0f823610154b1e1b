#include "tests/peers/misbehaving_device/ReplySpoiler.h"

#include <signal.h>

#include "tests/peers/misbehaving_device/DeviceExcess.h"

namespace tarn::test {

using namespace tarn::proto::monitoring;

std::optional<ReplySpoiler::Reply> ReplySpoiler::spoil(Reply reply) {
    const auto before = requests++;
    if (wish.diesAfter && before >= *wish.diesAfter) {
        ::raise(SIGKILL);
    }
    if (reply.type() == TarnServiceToDeviceRequest::GET_DESCRIPTION) {
        auto* const description = reply.MutableExtension(GetDescriptionReply::base);
        if (!wish.eventEndpoint.empty()) {
            description->set_event_endpoint(wish.eventEndpoint);
        }
        repeatIds(reply);
    }
    if (before < wish.goodReplies) {
        return reply;
    }
    if (reply.type() == TarnServiceToDeviceRequest::GET_DESCRIPTION && before < fitAfter) {
        auto& device = *reply.MutableExtension(GetDescriptionReply::base)->mutable_device();
        deepen(device, wish.levels);
        enlarge(device, wish.bytes);
    }
    switch (wish.replies) {
        case Replies::Good:
            break;
        case Replies::WrongType:
            reply.set_type(reply.type() == TarnServiceToDeviceRequest::PING
                               ? TarnServiceToDeviceRequest::CONTROL
                               : TarnServiceToDeviceRequest::PING);
            break;
        case Replies::Failure:
            reply.set_success(false);
            reply.set_error_message("The device is not well");
            break;
        case Replies::Silence:
            return std::nullopt;
        case Replies::Garbage:  // the description's number, with bytes in it that are no message
            reply.Clear();
            reply.mutable_unknown_fields()->AddLengthDelimited(100, "\xff\xff\xff");
            break;
    }
    return reply;
}

void ReplySpoiler::repeatIds(Reply& reply) const {
    auto* const device = reply.MutableExtension(GetDescriptionReply::base)->mutable_device();
    if (wish.ids == Ids::Repeated) {
        for (auto& part : *device->mutable_sub_devices()) {
            part.set_id(device->id());
        }
    }
}

}  // namespace tarn::test
