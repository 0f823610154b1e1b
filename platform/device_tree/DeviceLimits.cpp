#include "platform/device_tree/DeviceLimits.h"

#include "platform/device_tree/DeviceNode.h"
#include "platform/device_tree/DeviceOutline.h"
#include "proto/monitoring.pb.h"

namespace tarn::device_tree {

namespace monitoring = tarn::proto::monitoring;

namespace {

constexpr std::size_t longestShownText = 256;  // of a name, in bytes

bool isWithin(const monitoring::DeviceNode& device, unsigned levels) {
    if (levels == 0) {
        return false;
    }
    for (const auto& part : device.sub_devices()) {
        if (!isWithin(part, levels - 1)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string tooDeep() {
    return "more than " + std::to_string(mostLevels) + " levels deep";
}

std::string tooLarge(const std::string& what, std::size_t mostBytes) {
    return what + " of more than " + std::to_string(mostBytes) + " bytes";
}

std::string refusalOf(const monitoring::DeviceNode& device) {
    return isWithin(device, mostLevels) ? std::string() : tooDeep();
}

std::string refusalOf(const monitoring::DeviceToTarnServiceEvent& event) {
    for (const auto* device :
         {&event.GetExtension(monitoring::DeviceAddEvent::base).device(),
          &event.GetExtension(monitoring::ConfigurationChangeEvent::base).device()}) {
        if (auto refusal = refusalOf(*device); !refusal.empty()) {
            return refusal;
        }
    }
    return event.ByteSizeLong() > largestEvent ? tooLarge("event", largestEvent) : std::string();
}

DeviceNode refusedDevice(const DeviceOutline& device, const std::string& reason) {
    DeviceNode result(device.id.substr(0, longestShownText),
                      device.name.substr(0, longestShownText), device.deviceClass);
    result.setGlobalStatus({GlobalStatus::Level::Error, "Refused: " + reason});
    return result;
}

}  // namespace tarn::device_tree
