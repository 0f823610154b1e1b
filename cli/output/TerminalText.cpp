#include "cli/output/TerminalText.h"

#include <algorithm>

#include "platform/utils/EscapedText.h"
#include "platform/utils/Utf8.h"

namespace tarn::cli {

std::string escapeForTerminal(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    while (!text.empty()) {
        text.remove_prefix(utils::appendEscapedCharacter(escaped, text));
    }
    return escaped;
}

std::size_t columns(std::string_view escaped) {
    return static_cast<std::size_t>(std::count_if(escaped.begin(), escaped.end(), [](char byte) {
        return !utils::continuesCharacter(byte);
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
        if (!utils::continuesCharacter(escaped[end]) && kept++ == limit - 1) {
            break;
        }
    }
    return std::string(escaped.substr(0, end)) + "…";
}

}  // namespace tarn::cli
