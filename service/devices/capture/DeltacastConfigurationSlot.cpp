#include "service/devices/capture/DeltacastConfigurationSlot.h"

#include <utility>

#include "platform/utils/Log.h"
#include "platform/utils/MessageFormatter.h"
#include "proto/deltacast_configuration.pb.h"

namespace tarn::service::devices {

DeltacastConfigurationSlot::DeltacastConfigurationSlot(const utils::IMessageFormatter& formatter)
    : formatter(formatter) {}

DeltacastConfigurationSlot::~DeltacastConfigurationSlot() = default;

void DeltacastConfigurationSlot::put(const DeltacastConfig& configuration) {
    auto slot = waiting.lock();
    utils::logInfo(
        formatter.formatMessage("Pushing new configuration: " + configuration.DebugString()));
    *slot = {Wish::Configuration, Origin::Order, std::make_unique<DeltacastConfig>(configuration)};
}

void DeltacastConfigurationSlot::putDefaults() {
    auto slot = waiting.lock();
    utils::logInfo(formatter.formatMessage("Restoring default configuration"));
    *slot = {Wish::Defaults, Origin::Order, nullptr};
}

DeltacastConfigurationSlot::Taken DeltacastConfigurationSlot::Taken::copy() const {
    return {wish, origin,
            configuration ? std::make_unique<DeltacastConfig>(*configuration) : nullptr};
}

bool DeltacastConfigurationSlot::offer(Taken wish) {
    auto slot = waiting.lock();
    if (slot->wish != Wish::None || wish.wish == Wish::None) {
        return false;
    }
    *slot = std::move(wish);
    return true;
}

DeltacastConfigurationSlot::Taken DeltacastConfigurationSlot::take() {
    return std::exchange(*waiting.lock(), Taken());
}

}  // namespace tarn::service::devices
