#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarn::storage_wire {

/// In front of every message: the lengths of the message and of the raw bytes that follow it, each
/// as four bytes, lowest first.
struct MessageHeader {
    std::uint32_t messageSize = 0;
    std::uint32_t payloadSize = 0;
};

inline constexpr std::size_t headerSize = 8;

/// Longer ones are refused by whoever is told so, before memory is taken for them.
inline constexpr std::uint32_t largestRequest = 1U << 20U;
inline constexpr std::uint32_t largestAnswer = 64U << 20U;
inline constexpr std::uint32_t largestPayload = 256U << 20U;

using HeaderBytes = std::array<char, headerSize>;

HeaderBytes encode(const MessageHeader& header);

/// `bytes` points to headerSize bytes.
MessageHeader decodeHeader(const char* bytes);

}  // namespace tarn::storage_wire
