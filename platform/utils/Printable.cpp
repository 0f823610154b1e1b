#include "platform/utils/Printable.h"

#include "platform/utils/Utf8Prefix.h"

namespace tarn::utils {

namespace {

void appendPrintable(std::string& result, char character) {
    constexpr char digits[] = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
        result += "\\n";
    } else if (character == '\t') {
        result += "\\t";
    } else if (character == '\r') {
        result += "\\r";
    } else if (byte < 0x20 || byte == 0x7f) {
        result += {'\\', 'x', digits[byte >> 4U], digits[byte & 15U]};
    } else {
        result += character;
    }
}

}  // namespace

std::string printable(std::string_view text, std::size_t maxLength) {
    const auto shown = utf8Prefix(text, maxLength);
    std::string result;
    for (const char character : shown) {
        appendPrintable(result, character);
    }
    return shown.size() < text.size() ? result + "..." : result;
}

std::string quotedText(std::string_view text, std::size_t maxLength) {
    const auto shown = utf8Prefix(text, maxLength);
    std::string result = "\"";
    for (const char character : shown) {
        if (character == '"' || character == '\\') {
            result += '\\';
        }
        appendPrintable(result, character);
    }
    return result + (shown.size() < text.size() ? "...\"" : "\"");
}

}  // namespace tarn::utils
