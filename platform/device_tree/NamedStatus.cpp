#include "platform/device_tree/NamedStatus.h"

#include "platform/device_tree/StatusValue.h"
#include "platform/device_tree/messages/Messages.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace monitoring = tarn::proto::monitoring;

namespace {

NamedStatus::Value valueOf(const monitoring::NamedStatus& message) {
    switch (message.type()) {
        case monitoring::NamedStatus::SIGNED:
            return std::int64_t{message.signed_value()};
        case monitoring::NamedStatus::UNSIGNED:
            return std::uint64_t{message.unsigned_value()};
        case monitoring::NamedStatus::DOUBLE:
            return message.double_value();
        case monitoring::NamedStatus::TEXT:
            break;
    }
    return message.text_value();
}

void setValueOf(monitoring::NamedStatus& message, const NamedStatus::Value& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        message.set_text_value(*text);
    } else if (const auto* number = std::get_if<std::int64_t>(&value)) {
        message.set_signed_value(*number);
    } else if (const auto* count = std::get_if<std::uint64_t>(&value)) {
        message.set_unsigned_value(*count);
    } else {
        message.set_double_value(std::get<double>(value));
    }
}

}  // namespace

NamedStatus::NamedStatus(std::string statusName, Value initial)
    : name(std::move(statusName)), value(std::move(initial)) {}

NamedStatus::NamedStatus(const monitoring::NamedStatus& message)
    : name(message.name()), value(valueOf(message)) {}

NamedStatus::Type NamedStatus::getType() const {
    return static_cast<Type>(value.index());
}

void NamedStatus::setValue(const Value& newValue) {
    value = converted(newValue, getType());
}

monitoring::NamedStatus NamedStatus::toProtoBuf() const {
    monitoring::NamedStatus message;
    fill(message, *this);
    return message;
}

void fill(monitoring::NamedStatus& message, const NamedStatus& status) {
    message.set_name(status.getName());
    message.set_type(static_cast<monitoring::NamedStatus::Type>(status.getType()));
    setValueOf(message, status.getValue());
}

}  // namespace tarn::device_tree
