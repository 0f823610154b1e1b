#include "service/configuration/QuotedText.h"

#include <cstddef>

namespace tarn::service::configuration {

namespace {

constexpr std::size_t longest = 80;

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;  // UTF-8
}

std::string shortened(const std::string& text) {
    if (text.size() <= longest) {
        return text;
    }
    std::size_t end = longest;
    while (end > 0 && continuesCharacter(text[end])) {
        --end;
    }
    return text.substr(0, end);
}

std::string escaped(char character) {
    constexpr char digits[] = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character);
    if (character == '"' || character == '\\') {
        return {'\\', character};
    }
    if (byte < 0x20 || byte == 0x7F) {
        return {'\\', 'x', digits[byte >> 4U], digits[byte & 0x0FU]};
    }
    return {character};
}

}  // namespace

std::string quotedText(const std::string& text) {
    const std::string shown = shortened(text);
    std::string result = "\"";
    for (const char character : shown) {
        result += escaped(character);
    }
    return result + (shown.size() < text.size() ? "...\"" : "\"");
}

}  // namespace tarn::service::configuration
