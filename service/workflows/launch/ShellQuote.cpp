#include "service/workflows/launch/ShellQuote.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace tarn::service {

namespace {

bool isPlain(char c) {
    constexpr std::string_view harmless = "_@%+=:,./-";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           harmless.find(c) != std::string_view::npos;
}

}  // namespace

std::string shellQuoted(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        throw std::invalid_argument("a NUL byte cannot be part of a command");
    }
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) {
        return text;
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

}  // namespace tarn::service
