#pragma once

#include <cstddef>
#include <string_view>

namespace tarn::utils {

/// The beginning of `text`, `maxBytes` at most, never ending inside a UTF-8 character. The text
/// need not be UTF-8; it must outlive the result.
std::string_view utf8Prefix(std::string_view text, std::size_t maxBytes);

}  // namespace tarn::utils
