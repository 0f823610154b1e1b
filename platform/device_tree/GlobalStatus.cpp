#include "platform/device_tree/GlobalStatus.h"

#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace monitoring = tarn::proto::monitoring;

GlobalStatus::GlobalStatus(Level statusLevel, std::string text)
    : level(statusLevel), description(std::move(text)) {}

GlobalStatus::GlobalStatus(const monitoring::GlobalStatus& message)
    : level(static_cast<Level>(message.level())), description(message.description()) {}

monitoring::GlobalStatus GlobalStatus::toProtoBuf() const {
    monitoring::GlobalStatus message;
    message.set_level(static_cast<monitoring::GlobalStatus::Level>(level));
    message.set_description(description);
    return message;
}

}  // namespace tarn::device_tree
