#include "platform/utils/Printable.h"

namespace tarn::utils {

namespace {

void appendEscaped(std::string& result, unsigned char c) {
    constexpr char digits[] = "0123456789abcdef";
    if (c == '\n') {
        result += "\\n";
    } else if (c == '\t') {
        result += "\\t";
    } else if (c == '\r') {
        result += "\\r";
    } else if (c < 0x20 || c == 0x7f) {
        result += {'\\', 'x', digits[c >> 4], digits[c & 15]};
    } else {
        result += static_cast<char>(c);
    }
}

}  // namespace

std::string printable(std::string_view text, std::size_t maxLength) {
    std::string result;
    for (const char c : text.substr(0, maxLength)) {
        appendEscaped(result, static_cast<unsigned char>(c));
    }
    if (text.size() > maxLength) {
        result += "...";
    }
    return result;
}

}  // namespace tarn::utils
