#include "platform/device_tree/GlobalStatus.h"

#include "platform/device_tree/messages/Messages.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace monitoring = tarn::proto::monitoring;

GlobalStatus::GlobalStatus(Level statusLevel, std::string text)
    : level(statusLevel), description(std::move(text)) {}

GlobalStatus::GlobalStatus(const monitoring::GlobalStatus& message)
    : level(static_cast<Level>(message.level())), description(message.description()) {}

monitoring::GlobalStatus GlobalStatus::toProtoBuf() const {
    monitoring::GlobalStatus message;
    fill(message, *this);
    return message;
}

void fill(monitoring::GlobalStatus& message, const GlobalStatus& status) {
    message.set_level(static_cast<monitoring::GlobalStatus::Level>(status.level));
    message.set_description(status.description);
}

}  // namespace tarn::device_tree
