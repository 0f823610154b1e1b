#pragma once

#include <string>

namespace tarn::service {

/// `text` as one word of a shell command: as it is when it holds nothing but letters, digits and
/// `_@%+=:,./-`, else in single quotes. Throws std::invalid_argument for text with a NUL byte,
/// which no argument can hold.
std::string shellQuoted(const std::string& text);

}  // namespace tarn::service
