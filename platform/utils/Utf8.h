#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::utils {

struct Utf8Character {
    std::uint32_t codePoint = 0;
    std::size_t length = 0;  ///< in bytes; 0 where the bytes are no UTF-8
};

/// The character that a text begins with. Nothing but UTF-8 is one: a character in more bytes than
/// it needs (0xC0 0xAF), half a surrogate pair and what is cut off are not. `text` is not empty.
Utf8Character firstCharacter(std::string_view text);

/// Whether the byte is one of a character's that are not its first.
bool continuesCharacter(char byte);

/// The beginning of `text`, `maxBytes` at most, never ending inside a character. The text need not
/// be UTF-8; it must outlive the result.
std::string_view utf8Prefix(std::string_view text, std::size_t maxBytes);

/// A copy with U+FFFD in the place of each byte that is no UTF-8.
std::string replaceInvalidUtf8(std::string_view text);

}  // namespace tarn::utils
