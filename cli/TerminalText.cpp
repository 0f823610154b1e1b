#include "cli/TerminalText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

namespace tarn::cli {

namespace {

struct Character {
    std::uint32_t codePoint = 0;
    std::size_t length = 0;  // in bytes; 0 where the bytes are no UTF-8
};

std::uint8_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
}

bool isContinuation(std::uint8_t byte) {
    return (byte & 0xC0U) == 0x80U;
}

std::size_t lengthFromLead(std::uint8_t lead) {
    if (lead < 0x80U) {
        return 1;
    }
    if (lead >= 0xC2U && lead <= 0xDFU) {
        return 2;
    }
    if (lead >= 0xE0U && lead <= 0xEFU) {
        return 3;
    }
    return lead >= 0xF0U && lead <= 0xF4U ? 4 : 0;
}

bool isScalarOfLength(std::uint32_t codePoint, std::size_t length) {
    constexpr std::array<std::uint32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    return codePoint >= smallest[length] && codePoint <= 0x10FFFF && !surrogate;
}

Character decode(std::string_view text) {
    const std::uint8_t lead = byteAt(text, 0);
    const std::size_t length = lengthFromLead(lead);
    if (length == 0 || length > text.size()) {
        return {};
    }
    std::uint32_t codePoint = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t index = 1; index < length; ++index) {
        if (!isContinuation(byteAt(text, index))) {
            return {};
        }
        codePoint = (codePoint << 6U) | (byteAt(text, index) & 0x3FU);
    }
    return isScalarOfLength(codePoint, length) ? Character{codePoint, length} : Character{};
}

bool isControl(std::uint32_t codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

// Line separators, and the characters that reorder what is around them.
bool misleads(std::uint32_t codePoint) {
    return codePoint == 0x061C || (codePoint >= 0x200E && codePoint <= 0x200F) ||
           (codePoint >= 0x2028 && codePoint <= 0x202E) ||
           (codePoint >= 0x2066 && codePoint <= 0x2069);
}

}  // namespace

std::string escapeForTerminal(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    while (!text.empty()) {
        const Character character = decode(text);
        const std::size_t length = std::max<std::size_t>(character.length, 1);
        if (character.length == 0) {
            fmt::format_to(std::back_inserter(escaped), "\\x{:02x}", byteAt(text, 0));
        } else if (isControl(character.codePoint)) {
            fmt::format_to(std::back_inserter(escaped), "\\x{:02x}", character.codePoint);
        } else if (misleads(character.codePoint)) {
            fmt::format_to(std::back_inserter(escaped), "\\u{{{:x}}}", character.codePoint);
        } else {
            escaped.append(text.substr(0, length));
        }
        text.remove_prefix(length);
    }
    return escaped;
}

std::size_t columns(std::string_view escaped) {
    return static_cast<std::size_t>(std::count_if(escaped.begin(), escaped.end(), [](char byte) {
        return !isContinuation(static_cast<std::uint8_t>(byte));
    }));
}

std::string shorten(std::string_view escaped, std::size_t limit) {
    if (columns(escaped) <= limit) {
        return std::string(escaped);
    }
    if (limit == 0) {
        return {};
    }
    std::size_t end = 0;
    for (std::size_t kept = 0; end < escaped.size(); ++end) {
        if (!isContinuation(byteAt(escaped, end)) && kept++ == limit - 1) {
            break;
        }
    }
    return std::string(escaped.substr(0, end)) + "…";
}

}  // namespace tarn::cli
