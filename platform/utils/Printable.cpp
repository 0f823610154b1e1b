#include "platform/utils/Printable.h"

#include "platform/utils/EscapedText.h"
#include "platform/utils/Utf8.h"

namespace tarn::utils {

namespace {

/// Appends the character that `text` begins with; returns its length.
std::size_t appendPrintable(std::string& result, std::string_view text) {
    if (text.front() == '\t') {
        result += "\\t";
        return 1;
    }
    return appendForLog(result, text);
}

}  // namespace

std::string printable(std::string_view text, std::size_t maxLength) {
    const auto shown = utf8Prefix(text, maxLength);
    std::string result;
    for (auto rest = shown; !rest.empty();) {
        rest.remove_prefix(appendPrintable(result, rest));
    }
    return shown.size() < text.size() ? result + "..." : result;
}

std::string quotedText(std::string_view text, std::size_t maxLength) {
    const auto shown = utf8Prefix(text, maxLength);
    std::string result = "\"";
    for (auto rest = shown; !rest.empty();) {
        if (rest.front() == '"' || rest.front() == '\\') {
            result += '\\';
        }
        rest.remove_prefix(appendPrintable(result, rest));
    }
    return result + (shown.size() < text.size() ? "...\"" : "\"");
}

}  // namespace tarn::utils
