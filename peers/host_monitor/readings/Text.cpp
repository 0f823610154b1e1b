#include "peers/host_monitor/readings/Text.h"

#include <charconv>

namespace tarn::peers::host_monitor {

namespace {

constexpr std::string_view blanks = " \t\r\n";

std::vector<std::string_view> split(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> parts;
    auto begin = text.find_first_not_of(separators);
    while (begin != std::string_view::npos) {
        const auto end = text.find_first_of(separators, begin);
        parts.push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(separators, end);
    }
    return parts;
}

template <typename Number>
std::optional<Number> toNumber(std::string_view text) {
    Number number = 0;
    const auto* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    const bool isNumber = result.ec == std::errc() && result.ptr == end;
    return isNumber ? std::optional(number) : std::nullopt;
}

}  // namespace

std::vector<std::string_view> linesOf(std::string_view text) {
    return split(text, "\n");
}

std::vector<std::string_view> wordsOf(std::string_view text) {
    return split(text, blanks);
}

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::optional<std::uint64_t> toUnsigned(std::string_view text) {
    return toNumber<std::uint64_t>(text);
}

std::optional<std::int64_t> toSigned(std::string_view text) {
    return toNumber<std::int64_t>(text);
}

}  // namespace tarn::peers::host_monitor
