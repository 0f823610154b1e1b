#include "platform/program/ByteSize.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <string_view>

namespace tarn::program {

namespace {

constexpr std::string_view prefixes = "KMGTP";
constexpr long double tooMuch = 9223372036854775808.0L;  // 2^63

std::string_view withoutBlanks(std::string_view text) {
    while (text.starts_with(' ')) {
        text.remove_prefix(1);
    }
    return text;
}

/// Bytes in one of the unit; nothing for a unit that there is not.
std::optional<long double> unitOf(std::string_view unit) {
    if (unit.empty() || unit == "B") {
        return 1;
    }
    const auto letter = static_cast<char>(std::toupper(static_cast<unsigned char>(unit.front())));
    const auto power = prefixes.find(letter);
    const auto rest = unit.substr(1);
    if (power == std::string_view::npos || (!rest.empty() && rest != "iB" && rest != "B")) {
        return std::nullopt;
    }
    return std::pow(rest == "B" ? 1000.0L : 1024.0L, static_cast<long double>(power + 1));
}

/// Digits, with a point among them at most once: the length of the number that the text begins
/// with.
std::size_t numberLength(std::string_view text) {
    const auto end = text.find_first_not_of("0123456789.");
    const auto number = text.substr(0, end);
    const bool good = number.find_first_of("0123456789") != std::string_view::npos &&
                      number.find('.') == number.rfind('.');
    return good ? number.size() : 0;
}

}  // namespace

std::optional<std::uint64_t> parseByteSize(const std::string& text) {
    const auto length = numberLength(text);
    long double number = 0;
    const auto read =
        std::from_chars(text.data(), text.data() + length, number, std::chars_format::fixed);
    const auto unit = unitOf(withoutBlanks(std::string_view(text).substr(length)));
    if (length == 0 || read.ec != std::errc() || !unit || number * *unit >= tooMuch) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(std::round(number * *unit));
}

}  // namespace tarn::program
