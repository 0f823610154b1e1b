#include "platform/keys/KeyLines.h"

#include <algorithm>

namespace tarn::keys {

namespace {

constexpr std::string_view blanks = " \t\r";

std::vector<std::string> wordsOf(std::string_view line) {
    std::vector<std::string> words;
    while (true) {
        const auto begin = line.find_first_not_of(blanks);
        if (begin == std::string_view::npos) {
            return words;
        }
        line.remove_prefix(begin);
        const auto length = std::min(line.find_first_of(blanks), line.size());
        words.emplace_back(line.substr(0, length));
        line.remove_prefix(length);
    }
}

}  // namespace

std::vector<KeyLine> linesOf(std::string_view text) {
    std::vector<KeyLine> lines;
    for (unsigned number = 1; !text.empty(); ++number) {
        const auto length = std::min(text.find('\n'), text.size());
        auto words = wordsOf(text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
        if (!words.empty() && !words.front().starts_with('#')) {
            lines.push_back({number, std::move(words)});
        }
    }
    return lines;
}

}  // namespace tarn::keys
