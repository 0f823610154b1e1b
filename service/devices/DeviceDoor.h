#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/device_tree/DeviceOutline.h"

namespace tarn::service::devices {

/// Something that was said of a device and is not let in, since nobody could read a tree with it.
struct Refusal {
    device_tree::DeviceOutline device;
    std::string reason;

    /// The line that says so, and names the device.
    std::string line() const;
    /// What stands in the tree for the device.
    device_tree::DeviceNode shown() const;
};

/// In the place of a description: the device answered, but with one that is not let in.
class RefusedDescription : public std::runtime_error {
  public:
    explicit RefusedDescription(Refusal refused)
        : std::runtime_error(refused.line()), refusal(std::move(refused)) {}

    const Refusal refusal;
};

/// Looks at the bytes of a message before anybody reads them; nothing for one that may come in.
std::optional<Refusal> refusalOfEvent(std::string_view bytes);
/// Of a reply; one that is no description is always let in.
std::optional<Refusal> refusalOfReply(std::string_view bytes, std::size_t mostBytes);

}  // namespace tarn::service::devices
