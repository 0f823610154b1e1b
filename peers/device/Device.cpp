#include "peers/device/Device.h"

#include <string>
#include <utility>

#include "peers/device/EventChannel.h"
#include "platform/device_tree/DeviceLimits.h"
#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/DeviceOutline.h"
#include "platform/utils/Log.h"
#include "proto/monitoring.pb.h"

namespace tarn::peers {

using namespace tarn::proto::monitoring;

namespace {

constexpr std::size_t largestAnswer = 524288;  // the service drops larger ones

// A type that this build does not know is no value of its enum, but is repeated all the same.
void repeatType(const TarnServiceToDeviceRequest& request, DeviceToTarnServiceReply& reply) {
    if (request.has_type()) {
        reply.set_type(request.type());
        return;
    }
    const auto& unknown = request.unknown_fields();
    for (int i = 0; i < unknown.field_count(); ++i) {
        const auto& field = unknown.field(i);
        if (field.number() == TarnServiceToDeviceRequest::kTypeFieldNumber &&
            field.type() == google::protobuf::UnknownField::TYPE_VARINT) {
            reply.mutable_unknown_fields()->AddVarint(DeviceToTarnServiceReply::kTypeFieldNumber,
                                                      field.varint());
            return;
        }
    }
}

void refuse(DeviceToTarnServiceReply& reply, const std::string& message) {
    utils::logWarning(message);
    reply.set_success(false);
    reply.set_error_message(message);
}

}  // namespace

Device::Device(State first, std::unique_ptr<EventChannel> channel)
    : state(std::move(first)), events(std::move(channel)) {
    if (events) {
        publisher.emplace(*events);
    }
}

Device::~Device() = default;

void Device::update(State newState, Time now) {
    state = std::move(newState);
    if (publisher) {
        publisher->update(state, now);
    }
}

Device::Reply Device::answer(const Request& request, Time now) {
    Reply reply;
    repeatType(request, reply);
    reply.set_success(true);
    switch (request.type()) {
        case Request::PING:
            if (publisher) {
                publisher->pinged();
                publisher->update(state, now);
            }
            break;
        case Request::GET_DESCRIPTION:
            describe(reply, now);
            break;
        case Request::CONTROL:
            control(request, reply);
            break;
        case Request::UNKNOWN:
            refuse(reply, "Unknown type of request");
            break;
    }
    return reply;
}

void Device::describe(Reply& reply, Time now) {
    auto& description = *reply.MutableExtension(GetDescriptionReply::base);
    if (publisher) {
        description.set_event_endpoint(events->endpoint());
    }
    auto shown = state;
    shown->toProtoBuf(*description.mutable_device());
    refuseWhatIsTooMuch(reply, shown);
    if (publisher) {
        publisher->described(shown, now);
    }
}

// The service would take nothing of it, and hardly know whose it is.
void Device::refuseWhatIsTooMuch(Reply& reply, State& shown) {
    auto& device = *reply.MutableExtension(GetDescriptionReply::base)->mutable_device();
    auto found = tarn::device_tree::refusalOf(device);
    if (found.empty() && reply.ByteSizeLong() > largestAnswer) {
        found = tarn::device_tree::tooLarge("description", largestAnswer);
    }
    if (!found.empty()) {
        shown = std::make_shared<tarn::device_tree::DeviceNode>(
            tarn::device_tree::refusedDevice(tarn::device_tree::outlineOf(*state), found));
        shown->toProtoBuf(device);
    }
    if (found != std::exchange(refusal, found) && !found.empty()) {
        utils::logWarning("The service does not take the description: " + found);
    }
}

void Device::control(const Request& request, Reply& reply) {
    if (request.GetExtension(ControlRequest::base).command() != ControlRequest::STOP) {
        return refuse(reply, "Unknown command");
    }
    utils::logInfo("Asked to stop");
    askedToStop = true;
}

void Device::end() {
    if (publisher) {
        publisher->shutDown(state->getId());
    }
}

}  // namespace tarn::peers
