#include "cli/output/ByteSize.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>

namespace tarn::cli {

namespace {

constexpr std::string_view prefixes = "KMGTP";

}  // namespace

std::string byteSizeText(std::uint64_t bytes) {
    auto value = static_cast<double>(bytes);
    std::size_t power = 0;
    // What would be rounded to 1024 is one of the next unit.
    while (value >= (power == 0 ? 1024 : 1023.95) && power < prefixes.size()) {
        value /= 1024;
        ++power;
    }
    if (power == 0) {
        return fmt::format("{} B", bytes);
    }
    auto number = fmt::format("{:.1f}", value);
    if (number.ends_with(".0")) {
        number.resize(number.size() - 2);
    }
    return fmt::format("{} {}iB", number, prefixes[power - 1]);
}

std::string byteSizeText(const std::string& bytes) {
    std::uint64_t number = 0;
    const char* const end = bytes.data() + bytes.size();
    const auto [stop, error] = std::from_chars(bytes.data(), end, number);
    return error == std::errc() && stop == end ? byteSizeText(number) : bytes;
}

}  // namespace tarn::cli
