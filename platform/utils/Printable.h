#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn::utils {

/// Text from outside, fit for a message: control characters escaped ("\n", "\x1b"), and cut to
/// `maxLength` characters with "..." where it is longer. Bytes above 127 are kept.
std::string printable(std::string_view text, std::size_t maxLength = 80);

}  // namespace tarn::utils
