#include "platform/utils/Utf8.h"

#include <algorithm>
#include <array>

namespace tarn::utils {

namespace {

std::uint8_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
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

}  // namespace

Utf8Character firstCharacter(std::string_view text) {
    const std::uint8_t lead = byteAt(text, 0);
    const std::size_t length = lengthFromLead(lead);
    if (length == 0 || length > text.size()) {
        return {};
    }
    std::uint32_t codePoint = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t index = 1; index < length; ++index) {
        if (!continuesCharacter(text[index])) {
            return {};
        }
        codePoint = (codePoint << 6U) | (byteAt(text, index) & 0x3FU);
    }
    return isScalarOfLength(codePoint, length) ? Utf8Character{codePoint, length} : Utf8Character{};
}

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::string_view utf8Prefix(std::string_view text, std::size_t maxBytes) {
    if (text.size() <= maxBytes) {
        return text;
    }
    while (maxBytes > 0 && continuesCharacter(text[maxBytes])) {
        --maxBytes;
    }
    return text.substr(0, maxBytes);
}

std::string replaceInvalidUtf8(std::string_view text) {
    constexpr std::string_view replacement = "\xef\xbf\xbd";
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = firstCharacter(text).length;
        result += length == 0 ? replacement : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

}  // namespace tarn::utils
