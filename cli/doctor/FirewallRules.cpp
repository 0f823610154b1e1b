#include "cli/doctor/FirewallRules.h"

#include <charconv>
#include <optional>
#include <sstream>
#include <utility>

namespace tarn::cli {

namespace {

std::optional<std::uint32_t> number(std::string_view text) {
    std::uint32_t value = 0;
    const auto end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, value);
    return read.ec == std::errc() && read.ptr == end ? std::optional(value) : std::nullopt;
}

// "5555", "5000-6000", with or without a comma behind.
bool holds(std::string_view word, std::uint16_t port) {
    if (word.ends_with(',')) {
        word.remove_suffix(1);
    }
    const auto dash = word.find('-');
    const auto from = number(word.substr(0, dash));
    const auto to = dash == std::string_view::npos ? from : number(word.substr(dash + 1));
    return from && to && *from <= port && port <= *to;
}

// What follows "dport": one word, or several in braces.
bool namesPort(std::istringstream& words, std::uint16_t port) {
    std::string word;
    bool among = false;
    while (words >> word) {
        if (word == "{") {
            among = true;
        } else if (holds(word, port)) {
            return true;
        } else if (word == "}" || (!among && word != "!=")) {
            return false;
        }
    }
    return false;
}

bool namesPort(const std::string& line, std::uint16_t port) {
    std::istringstream words(line);
    bool tcp = false;
    for (std::string word; words >> word;) {
        tcp = tcp || word == "tcp" || word == "th";
        if (word == "dport" && tcp && namesPort(words, port)) {
            return true;
        }
    }
    return false;
}

bool dropsUnlessAllowed(const std::string& line) {
    return line.find("hook input") != std::string::npos &&
           line.find("policy drop") != std::string::npos;
}

}  // namespace

bool saysAnythingOf(std::uint16_t port, const std::string& ruleset) {
    std::istringstream lines(ruleset);
    for (std::string line; std::getline(lines, line);) {
        if (dropsUnlessAllowed(line) || namesPort(line, port)) {
            return true;
        }
    }
    return false;
}

}  // namespace tarn::cli
