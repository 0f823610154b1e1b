#include "platform/device_tree/Property.h"

#include "platform/device_tree/messages/Messages.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace monitoring = tarn::proto::monitoring;

Property::Property(std::string propertyName, Type propertyType, std::string text)
    : name(std::move(propertyName)), type(propertyType), value(std::move(text)) {}

Property::Property(const monitoring::Property& message)
    : name(message.name()), type(static_cast<Type>(message.type())), value(message.value()) {}

monitoring::Property Property::toProtoBuf() const {
    monitoring::Property message;
    fill(message, *this);
    return message;
}

void fill(monitoring::Property& message, const Property& property) {
    message.set_name(property.name);
    message.set_type(static_cast<monitoring::Property::Type>(property.type));
    message.set_value(property.value);
}

}  // namespace tarn::device_tree
