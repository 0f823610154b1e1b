#pragma once

#include <cstdint>
#include <string>

#include "platform/storage_wire/MessageHeader.h"

namespace tarn::fuzz {

/// A message of the loop storage's protocol as it goes over the wire, and what follows it.
/// `announced` may say another length of the payload than it has.
inline std::string framed(const std::string& message, const std::string& payload,
                          std::uint32_t announced) {
    const auto header = tarn::storage_wire::encode(
        {.messageSize = static_cast<std::uint32_t>(message.size()), .payloadSize = announced});
    return std::string(header.data(), header.size()) + message + payload;
}

/// All of an input's, in their order.
template <typename Input, typename MessageOf>
std::string framedSteps(const Input& input, MessageOf messageOf) {
    std::string bytes;
    for (const auto& step : input.step()) {
        const auto& payload = step.payload();
        bytes += framed(
            messageOf(step).SerializePartialAsString(), payload,
            step.has_announced() ? step.announced() : static_cast<std::uint32_t>(payload.size()));
    }
    return bytes + input.raw();
}

}  // namespace tarn::fuzz
