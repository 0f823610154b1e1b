#include "platform/utils/Utf8Prefix.h"

namespace tarn::utils {

namespace {

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

std::string_view utf8Prefix(std::string_view text, std::size_t maxBytes) {
    if (text.size() <= maxBytes) {
        return text;
    }
    while (maxBytes > 0 && continuesCharacter(text[maxBytes])) {
        --maxBytes;
    }
    return text.substr(0, maxBytes);
}

}  // namespace tarn::utils
