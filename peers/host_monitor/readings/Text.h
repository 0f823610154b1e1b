#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tarn::peers::host_monitor {

/// Between line breaks; empty lines are left out. The views point into `text`.
std::vector<std::string_view> linesOf(std::string_view text);

/// Between blanks, tabs and line breaks.
std::vector<std::string_view> wordsOf(std::string_view text);

std::string_view trimmed(std::string_view text);

/// The whole text has to be one number that fits.
std::optional<std::uint64_t> toUnsigned(std::string_view text);
std::optional<std::int64_t> toSigned(std::string_view text);

}  // namespace tarn::peers::host_monitor
