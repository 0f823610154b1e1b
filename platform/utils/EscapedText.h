#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::utils {

/// Whether a character does something to a terminal or to the text around it instead of being
/// shown: the control characters of both sets (below U+0020, U+007F to U+009F), line separators,
/// and what turns the writing direction.
bool isUnsafe(std::uint32_t codePoint);

/// Appends the character that `text` begins with and returns its length in bytes. An unsafe one and
/// a byte that is no UTF-8 become \xNN or \u{N}. `text` is not empty.
std::size_t appendEscapedCharacter(std::string& result, std::string_view text);

/// The same, but with line breaks as "\n" and "\r", and tabs as they are.
std::size_t appendForLog(std::string& result, std::string_view text);

/// A line for a log: appendForLog for every character. Backslashes stay, so that text which was
/// escaped before is not escaped twice.
std::string escapeForLog(std::string_view message);

/// Whether escapeForLog would change nothing, told by a look at the bytes alone: also false for any
/// text with other than ASCII characters.
bool isPlainForLog(std::string_view message);

}  // namespace tarn::utils
