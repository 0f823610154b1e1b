#pragma once

#include <cstdint>
#include <string>

#include "platform/storage_wire/Greeting.h"
#include "platform/storage_wire/MessageHeader.h"

namespace tarn::test {

/// What a client sends first.
inline std::string greeting() {
    const auto bytes = storage_wire::makeGreeting();
    return {bytes.data(), bytes.size()};
}

inline std::string header(std::uint32_t messageSize, std::uint32_t payloadSize) {
    const auto bytes =
        storage_wire::encode({.messageSize = messageSize, .payloadSize = payloadSize});
    return {bytes.data(), bytes.size()};
}

/// A message of these bytes, without a payload.
inline std::string message(const std::string& bytes) {
    return header(static_cast<std::uint32_t>(bytes.size()), 0) + bytes;
}

}  // namespace tarn::test
