#include "fuzz/support/ShellWords.h"

#include <algorithm>
#include <cstddef>

namespace tarn::fuzz {

namespace {

bool isPlain(char c) {
    constexpr std::string_view harmless =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_@%+=:,./-";
    return harmless.find(c) != std::string_view::npos;
}

/// How much of `text` its first piece takes, whose meaning is added to `word`; 0 for no piece.
std::size_t takePiece(std::string_view text, std::string& word) {
    if (isPlain(text.front())) {
        word += text.front();
        return 1;
    }
    if (text.starts_with("\\'")) {
        word += '\'';
        return 2;
    }
    const auto end = text.front() == '\'' ? text.find('\'', 1) : std::string_view::npos;
    if (end == std::string_view::npos) {
        return 0;
    }
    word += text.substr(1, end - 1);
    return end + 1;
}

/// The length of the word that `text` begins with; nothing where it is none.
std::optional<std::size_t> lengthOfWord(std::string_view text, std::string& word) {
    std::size_t length = 0;
    while (length < text.size() && text[length] != ' ') {
        const auto taken = takePiece(text.substr(length), word);
        if (taken == 0) {
            return std::nullopt;
        }
        length += taken;
    }
    return length;
}

}  // namespace

std::optional<std::string> wordOf(std::string_view quoted) {
    std::string word;
    const auto length = lengthOfWord(quoted, word);
    return length && *length > 0 && *length == quoted.size() ? std::optional(word) : std::nullopt;
}

bool isHarmlessToShell(std::string_view command) {
    while (!command.empty()) {
        std::string word;
        const auto length = lengthOfWord(command, word);
        if (!length) {
            return command == "&";
        }
        command.remove_prefix(std::min(command.size(), *length + 1));
    }
    return true;
}

}  // namespace tarn::fuzz
