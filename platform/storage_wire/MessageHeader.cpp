#include "platform/storage_wire/MessageHeader.h"

namespace tarn::storage_wire {

namespace {

constexpr std::size_t numberSize = 4;

void put(char* bytes, std::uint32_t number) {
    for (std::size_t i = 0; i < numberSize; ++i) {
        bytes[i] = static_cast<char>(number >> (8 * i) & 0xffU);
    }
}

std::uint32_t get(const char* bytes) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < numberSize; ++i) {
        number |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    }
    return number;
}

}  // namespace

HeaderBytes encode(const MessageHeader& header) {
    HeaderBytes bytes{};
    put(bytes.data(), header.messageSize);
    put(bytes.data() + numberSize, header.payloadSize);
    return bytes;
}

MessageHeader decodeHeader(const char* bytes) {
    return {.messageSize = get(bytes), .payloadSize = get(bytes + numberSize)};
}

}  // namespace tarn::storage_wire
