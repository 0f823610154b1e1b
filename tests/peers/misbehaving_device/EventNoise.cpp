#include "tests/peers/misbehaving_device/EventNoise.h"

#include <algorithm>
#include <exception>

#include "proto/monitoring.pb.h"
#include "tests/peers/misbehaving_device/DeviceExcess.h"

namespace tarn::test {

using namespace tarn::proto::monitoring;
using Event = DeviceToTarnServiceEvent;

EventNoise::EventNoise(const Misbehaviour& wish, Time start)
    : wish(wish), start(start), next(start) {
    socket.createAndConnect(tarn::socket::Protocol::Push,
                            tarn::socket::SocketEndpoint::FromString(wish.eventEndpoint), 0);
}

void EventNoise::sendUntil(Time now) {
    if (now >= next) {
        sendOnce();
        next = std::max(next + wish.interval, now);
    }
    if (wish.floodRate > 0) {
        flood(now);
    }
}

std::chrono::milliseconds EventNoise::period() const {
    constexpr std::chrono::milliseconds floodPeriod{1};
    return wish.floodRate > 0 ? floodPeriod : wish.interval;
}

// A type that is no value of the enum is written as a field that is not known.
void EventNoise::sendOnce() {
    for (const auto type : wish.eventTypes) {
        Event event;
        event.mutable_unknown_fields()->AddVarint(Event::kTypeFieldNumber, type);
        send(event);
    }
    if (wish.eventLevels > 0 || wish.eventBytes > 0) {
        sendExcess();
    }
    if (wish.noise == Noise::Garbage) {
        Event event;
        event.mutable_unknown_fields()->AddLengthDelimited(100, "\xff\xff\xff");
        send(event);
    }
}

void EventNoise::sendExcess() {
    Event event;
    event.set_type(Event::CONFIGURATION_CHANGE);
    auto& device = *event.MutableExtension(ConfigurationChangeEvent::base)->mutable_device();
    device.set_id(wish.id);
    device.set_name(wish.id);
    deepen(device, wish.eventLevels);
    enlarge(device, wish.eventBytes);
    send(event);
}

void EventNoise::flood(Time now) {
    const auto seconds = std::chrono::duration<double>(now - start).count();
    const auto due = static_cast<std::uint64_t>(seconds * wish.floodRate);
    for (; flooded < due; ++flooded) {
        Event event;
        event.set_type(Event::STATUS_CHANGE);
        auto* const change =
            event.MutableExtension(StatusChangeEvent::base)->add_named_status_changes();
        change->set_device_id(wish.id);
        change->mutable_status()->set_name("Value");
        change->mutable_status()->set_type(NamedStatus::UNSIGNED);
        change->mutable_status()->set_unsigned_value(flooded);
        send(event);
    }
}

void EventNoise::send(const Event& event) {
    try {
        socket.sendProtoBuf(&event);
    } catch (const std::exception&) {
        // Nobody takes it: there is more where it came from.
    }
}

}  // namespace tarn::test
