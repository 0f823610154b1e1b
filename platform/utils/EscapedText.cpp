#include "platform/utils/EscapedText.h"

#include <algorithm>

#include "platform/utils/Utf8.h"

namespace tarn::utils {

namespace {

constexpr char digits[] = "0123456789abcdef";

void appendHex(std::string& result, std::uint32_t number, unsigned fewestDigits) {
    unsigned count = 1;
    while (count < 8 && (number >> (4 * count)) != 0) {
        ++count;
    }
    for (count = std::max(count, fewestDigits); count > 0; --count) {
        result += digits[(number >> (4 * (count - 1))) & 15U];
    }
}

void appendEscaped(std::string& result, std::uint32_t codePoint) {
    if (codePoint <= 0xFF) {
        result += "\\x";
        appendHex(result, codePoint, 2);
    } else {
        result += "\\u{";
        appendHex(result, codePoint, 1);
        result += '}';
    }
}

bool isControl(std::uint32_t codePoint) {
    return codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
}

bool misleads(std::uint32_t codePoint) {
    return codePoint == 0x061C || (codePoint >= 0x200E && codePoint <= 0x200F) ||
           (codePoint >= 0x2028 && codePoint <= 0x202E) ||
           (codePoint >= 0x2066 && codePoint <= 0x2069);
}

}  // namespace

bool isUnsafe(std::uint32_t codePoint) {
    return isControl(codePoint) || misleads(codePoint);
}

std::size_t appendEscapedCharacter(std::string& result, std::string_view text) {
    const Utf8Character character = firstCharacter(text);
    if (character.length == 0) {
        appendEscaped(result, static_cast<unsigned char>(text.front()));
        return 1;
    }
    if (isUnsafe(character.codePoint)) {
        appendEscaped(result, character.codePoint);
    } else {
        result += text.substr(0, character.length);
    }
    return character.length;
}

std::size_t appendForLog(std::string& result, std::string_view text) {
    switch (text.front()) {
        case '\t':
            result += '\t';
            return 1;
        case '\n':
            result += "\\n";
            return 1;
        case '\r':
            result += "\\r";
            return 1;
        default:
            return appendEscapedCharacter(result, text);
    }
}

std::string escapeForLog(std::string_view message) {
    std::string result;
    result.reserve(message.size() + 16);
    while (!message.empty()) {
        message.remove_prefix(appendForLog(result, message));
    }
    return result;
}

bool isPlainForLog(std::string_view message) {
    return std::all_of(message.begin(), message.end(), [](char character) {
        return (character >= ' ' && character <= '~') || character == '\t';
    });
}

}  // namespace tarn::utils
