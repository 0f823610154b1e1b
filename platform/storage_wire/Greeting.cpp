#include "platform/storage_wire/Greeting.h"

#include <algorithm>

namespace tarn::storage_wire {

namespace {

// Eight bytes that no text protocol begins with, then the version and two zeros.
constexpr Greeting greeting = {'\xf7', 'T', 'A', 'R', 'N', 'L', 'S', '\n', 1, 0, 0, 0};
constexpr std::size_t versionOffset = 8;

}  // namespace

Greeting makeGreeting() {
    return greeting;
}

GreetingCheck checkGreeting(std::string_view bytes) {
    const std::string_view expected(greeting.data(), greeting.size());
    if (bytes == expected) {
        return GreetingCheck::Fits;
    }
    return bytes.substr(0, versionOffset) == expected.substr(0, versionOffset)
               ? GreetingCheck::OtherVersion
               : GreetingCheck::NoGreeting;
}

}  // namespace tarn::storage_wire
