#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn::cli {

/// Text that came from outside, fit for a terminal: control characters, bytes that are no UTF-8 and
/// characters that turn the writing direction appear as \xNN or \u{N}; everything else is kept.
std::string escapeForTerminal(std::string_view text);

/// Columns on a terminal, one for each character, of text that was escaped.
std::size_t columns(std::string_view escaped);

/// At most `limit` columns of escaped text; what was cut off ends in an ellipsis.
std::string shorten(std::string_view escaped, std::size_t limit);

}  // namespace tarn::cli
