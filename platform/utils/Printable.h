#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn::utils {

/// Text from outside, fit for a message: unsafe characters escaped ("\n", "\x1b"; EscapedText.h),
/// cut to `maxLength` bytes with "..." where it is longer, never inside a UTF-8 character.
std::string printable(std::string_view text, std::size_t maxLength = 80);

/// The same between double quotes, with quotes and backslashes of the text escaped too.
std::string quotedText(std::string_view text, std::size_t maxLength = 80);

}  // namespace tarn::utils
