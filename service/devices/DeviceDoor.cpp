#include "service/devices/DeviceDoor.h"

#include <utility>

#include "platform/device_tree/DeviceLimits.h"
#include "platform/utils/Printable.h"

namespace tarn::service::devices {

using device_tree::DeviceOutline;

namespace {

// A level below the first takes two bytes at the least. Most of what devices say is smaller.
constexpr std::size_t surelyNotTooDeep = 2 * device_tree::mostLevels - 1;

bool isSurelyAdmitted(std::string_view bytes, std::size_t mostBytes) {
    return bytes.size() <= surelyNotTooDeep && bytes.size() <= mostBytes;
}

std::optional<Refusal> refusalOf(DeviceOutline device, std::string_view bytes,
                                 const std::string& what, std::size_t mostBytes) {
    if (device.levels > device_tree::mostLevels) {
        return Refusal{std::move(device), device_tree::tooDeep()};
    }
    if (bytes.size() > mostBytes) {
        return Refusal{std::move(device), device_tree::tooLarge(what, mostBytes)};
    }
    return std::nullopt;
}

}  // namespace

std::string Refusal::line() const {
    const auto who = device.kind == DeviceOutline::Kind::None
                         ? std::string("A device that is not named")
                         : "Device " + utils::printable(shown().getId());
    return who + " is refused: " + reason;
}

device_tree::DeviceNode Refusal::shown() const {
    return device_tree::refusedDevice(device, reason);
}

std::optional<Refusal> refusalOfEvent(std::string_view bytes) {
    if (isSurelyAdmitted(bytes, device_tree::largestEvent)) {
        return std::nullopt;
    }
    return refusalOf(device_tree::outlineOfEvent(bytes), bytes, "event", device_tree::largestEvent);
}

std::optional<Refusal> refusalOfReply(std::string_view bytes, std::size_t mostBytes) {
    if (isSurelyAdmitted(bytes, mostBytes)) {
        return std::nullopt;
    }
    auto device = device_tree::outlineOfReply(bytes);
    if (device.kind == DeviceOutline::Kind::None) {
        return std::nullopt;
    }
    return refusalOf(std::move(device), bytes, "description", mostBytes);
}

}  // namespace tarn::service::devices
