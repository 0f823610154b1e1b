#include "service/configuration/LimitsElement.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/utils/Printable.h"

namespace tarn::service::configuration {

namespace {

struct Attribute {
    const char* name;
    std::uint32_t largest;
    void (*take)(socket::Limits& limits, std::uint32_t number);
};

constexpr Attribute attributes[] = {
    {"connectionsPerUser", 100000,
     [](socket::Limits& limits, std::uint32_t number) { limits.connectionsPerUser = number; }},
    {"waitingMiBPerUser", 65536,
     [](socket::Limits& limits, std::uint32_t number) {
         limits.waitingBytesPerUser = std::uint64_t{number} << 20U;
     }},
    {"requestsPerSecond", 100000,
     [](socket::Limits& limits, std::uint32_t number) { limits.requestsPerSecond = number; }},
    {"submissionsPerSecond", 1000,
     [](socket::Limits& limits, std::uint32_t number) { limits.submissionsPerSecond = number; }},
    {"jobsPerUser", 100000,
     [](socket::Limits& limits, std::uint32_t number) { limits.jobsPerUser = number; }},
};

std::optional<std::uint32_t> numberIn(const std::string& text, std::uint32_t largest) {
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    const bool isGood =
        result.ec == std::errc() && result.ptr == end && number >= 1 && number <= largest;
    return isGood ? std::optional(number) : std::nullopt;
}

bool isKnown(const std::string& name) {
    return std::any_of(std::begin(attributes), std::end(attributes), [&](const Attribute& known) {
        return ::strcasecmp(name.c_str(), known.name) == 0;
    });
}

}  // namespace

void readLimits(const XmlNode& element, socket::Limits& limits,
                const std::function<void(const std::string& problem)>& complain) {
    for (const auto& attribute : attributes) {
        const auto text = attributeValue(element, attribute.name);
        if (!text) {
            continue;
        }
        if (const auto number = numberIn(*text, attribute.largest)) {
            attribute.take(limits, *number);
        } else {
            complain("Limits attribute \"" + std::string(attribute.name) +
                     "\" is not a number from 1 to " + std::to_string(attribute.largest) + ": " +
                     utils::quotedText(*text));
        }
    }
    for (const auto& name : attributeNames(element)) {
        if (!isKnown(name)) {
            complain("Limits has no attribute " + utils::quotedText(name));
        }
    }
}

}  // namespace tarn::service::configuration
